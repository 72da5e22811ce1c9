#include "cli.h"
#include "commands.h"
#include "doc_check.h"
#include "file_io.h"

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

CheckOutcome CheckFileReport(const std::string& path, const std::string& shown,
                             const CheckRunOptions& options, InputDocument& doc, Report& report,
                             CheckResult& result)
{
    report = Report();
    report.file = shown;
    DiagnosticList& diags = report.diags;
    result = CheckResult();
    InputResult input = LoadInput(path, options.key, doc, diags, options.equalsSyntax);
    if (input == InputResult::Ok)
    {
        CheckOptions checkOptions;
        checkOptions.equalsSyntax = options.equalsSyntax;
        result = CheckDocument(doc, checkOptions, diags);
        // Positions in decrypted text that no one wrote mean nothing to the
        // reader: a container that is not our encoder's and does not load
        // is damaged or under another key.
        if (doc.kind == InputKind::Container && doc.foreignIv &&
            (result.stubStatus != 0 || diags.Errors() > 0))
        {
            if (options.verbose)
                for (const Diagnostic& d : diags.Items())
                    report.extraLines.push_back(shown + ": in the decrypted text: " + d.message);
            diags = DiagnosticList();
            diags
                .Error(std::string("the container is damaged or was packed with another key: its decrypted "
                                   "text is not the text it was made from") +
                       (result.stubStatus ? std::string(" (") + MetadataStatusName(result.stubStatus) + ")"
                                          : std::string()))
                .rule = "container";
        }
    }
    diags.SortByPosition();
    if (options.verbose)
    {
        for (const auto& line : doc.log)
            report.extraLines.push_back(shown + ": library: " + line);
        for (const auto& line : result.stubLog)
            report.extraLines.push_back(shown + ": stub log: " + line);
    }

    const bool loads = input == InputResult::Ok && result.stubStatus == 0;
    const uint32_t status =
        input == InputResult::Ok ? result.stubStatus : 6; // BadFormat, as the stub sees it
    // Errors are what pack refuses; the stub may still load such a file, not
    // as meant, and the verdict says both.
    report.verdict = input != InputResult::Ok ? "not readable as title metadata"
                     : !loads                 ? "the launch stub refuses it"
                     : diags.Errors() > 0     ? "the launch stub loads it, but not as meant: fix the errors"
                                              : "the launch stub loads it";
    report.verdictMembers = [loads, status, input](JsonWriter& w)
    {
        w.Write("stubLoads", loads);
        if (input != InputResult::IoError)
        {
            w.Write("status", status);
            w.WriteString("statusName", MetadataStatusName(status));
        }
    };
    if (input == InputResult::IoError)
        return CheckOutcome::IoError;

    const bool problems = diags.Errors() > 0 || (options.strict && diags.Warnings() > 0);
    if (!options.quiet)
    {
        if (input != InputResult::Ok)
            report.summary = report.verdict;
        else
        {
            report.summary = doc.kind == InputKind::Container     ? "container"
                             : doc.kind == InputKind::PayloadText ? "text for a container"
                                                                  : "plain JSON";
            report.summary +=
                diags.Errors() || diags.Warnings()
                    ? ", " + Plural(diags.Errors(), "error") + ", " + Plural(diags.Warnings(), "warning")
                    : ", no problems";
            report.summary += "; " + report.verdict;
        }
    }
    return problems || input != InputResult::Ok ? CheckOutcome::Problems : CheckOutcome::Clean;
}

CheckOutcome CheckFile(const std::string& path, const CheckRunOptions& options, InputDocument& doc)
{
    Report report;
    CheckResult result;
    const CheckOutcome outcome =
        CheckFileReport(path, path == "-" ? "<stdin>" : path, options, doc, report, result);
    std::fputs(FormatText(report).c_str(), stderr);
    return outcome;
}

int EmitReports(const std::string& command, const std::vector<Report>& reports, int status,
                OutputFormat format, const ParsedArguments& parsed)
{
    std::string out;
    if (format == OutputFormat::Json)
        out = FormatJson(command, reports, status);
    else if (format == OutputFormat::Sarif)
        out = FormatSarif(command, reports, status);
    else
        for (const auto& report : reports)
            out += FormatText(report);
    // Quiet text of clean files is empty, and that is a report too.
    if (out.empty() && format != OutputFormat::Text)
    {
        std::fprintf(stderr, "kvotool %s: the report could not be written\n", command.c_str());
        return ExitUsage;
    }
    // Text goes with the other messages unless a file is named; documents go
    // to standard output by default, so that they pipe.
    if (format == OutputFormat::Text && !parsed.Has("output"))
    {
        std::fputs(out.c_str(), stderr);
        return status;
    }
    std::string error;
    if (!WriteFileAtomically(parsed.Value("output", "-"), out, error))
    {
        std::fprintf(stderr, "kvotool %s: %s\n", command.c_str(), error.c_str());
        return ExitUsage;
    }
    return status;
}

int RunCheck(const Invocation& invocation)
{
    const ParsedArguments& parsed = invocation.args;
    CheckRunOptions options;
    options.key = invocation.Key();
    if (parsed.positionals.empty())
        return UsageError("check", "no file to check");
    OutputFormat format = OutputFormat::Text;
    if (!ParseOutputFormat(parsed.Value("format", "text"), format))
        return UsageError("check", "--format takes text, json or sarif");
    options.equalsSyntax = parsed.Has("equals");
    options.strict = parsed.Has("strict");
    options.verbose = parsed.Has("verbose");
    options.quiet = parsed.Has("quiet");

    int status = ExitOk;
    std::vector<Report> reports;
    for (const auto& path : parsed.positionals)
    {
        InputDocument doc;
        CheckResult result;
        reports.emplace_back();
        switch (CheckFileReport(path, path == "-" ? "<stdin>" : path, options, doc, reports.back(), result))
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
    return EmitReports("check", reports, status, format, parsed);
}
} // namespace kvotool
