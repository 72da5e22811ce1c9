#include "cli.h"
#include "commands.h"
#include "doc_check.h"

#include <cstdio>

namespace kvotool
{
namespace
{
std::string Plural(size_t n, const char* word)
{
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}
} // namespace

CheckOutcome CheckFile(const std::string& path, const CheckRunOptions& options, InputDocument& doc)
{
    DiagnosticList diags;
    const std::string shown = path == "-" ? "<stdin>" : path;
    InputResult input = LoadInput(path, options.key, doc, diags, options.equalsSyntax);
    CheckResult result;
    if (input == InputResult::Ok)
    {
        CheckOptions checkOptions;
        checkOptions.equalsSyntax = options.equalsSyntax;
        result = CheckDocument(doc, checkOptions, diags);
    }
    diags.SortByPosition();
    std::fputs(diags.Format(shown).c_str(), stderr);
    if (options.verbose)
        for (const auto& line : result.stubLog)
            std::fprintf(stderr, "%s: stub log: %s\n", shown.c_str(), line.c_str());
    if (input == InputResult::IoError)
        return CheckOutcome::IoError;

    const bool problems = diags.Errors() > 0 || (options.strict && diags.Warnings() > 0);
    if (!options.quiet)
    {
        std::string summary = shown + ": ";
        if (input != InputResult::Ok)
            summary += "not readable as title metadata";
        else
        {
            summary += doc.kind == InputKind::Container     ? "container"
                       : doc.kind == InputKind::PayloadText ? "text for a container"
                                                            : "plain JSON";
            summary += diags.Errors() || diags.Warnings() ? ", " + Plural(diags.Errors(), "error") + ", " +
                                                                Plural(diags.Warnings(), "warning")
                                                          : ", no problems";
            summary += result.stubStatus == 0 ? "; the launch stub loads it" : "; the launch stub refuses it";
        }
        std::fprintf(stderr, "%s\n", summary.c_str());
    }
    return problems || input != InputResult::Ok ? CheckOutcome::Problems : CheckOutcome::Clean;
}

int RunCheck(const std::vector<std::string>& args)
{
    const std::vector<OptionDef> defs = {{"key", 0, true},      {"equals", 0, false},
                                         {"strict", 0, false},  {"verbose", 'v', false},
                                         {"quiet", 'q', false}, {"help", 'h', false}};
    ParsedArguments parsed;
    uint8_t key[32];
    CheckRunOptions options;
    if (const int status = ParseCommandArguments("check", args, defs, parsed, key, &options.key); status >= 0)
        return status;
    if (parsed.positionals.empty())
        return UsageError("check", "no file to check");
    options.equalsSyntax = parsed.Has("equals");
    options.strict = parsed.Has("strict");
    options.verbose = parsed.Has("verbose");
    options.quiet = parsed.Has("quiet");

    int status = ExitOk;
    for (const auto& path : parsed.positionals)
    {
        InputDocument doc;
        switch (CheckFile(path, options, doc))
        {
        case CheckOutcome::IoError:
            status = ExitUsage;
            break;
        case CheckOutcome::Problems:
            if (status == ExitOk)
                status = ExitProblems;
            break;
        case CheckOutcome::Clean:
            break;
        }
    }
    return status;
}
} // namespace kvotool
