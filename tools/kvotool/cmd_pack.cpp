#include "cli.h"
#include "commands.h"
#include "doc_check.h"
#include "file_io.h"

#include <cstdio>

namespace kvotool
{
int RunPack(const Invocation& invocation)
{
    const ParsedArguments& parsed = invocation.args;
    CheckRunOptions options;
    // One key for the container written and for a container given as input.
    options.key = invocation.Key();
    if (parsed.positionals.size() != 1)
        return UsageError("pack",
                          parsed.positionals.empty() ? "no input file" : "exactly one input file, please");
    if (!parsed.Has("output"))
        return UsageError("pack", "the container to write is missing: -o FILE");

    options.equalsSyntax = parsed.Has("equals");
    options.strict = parsed.Has("strict");
    options.quiet = parsed.Has("quiet");
    InputDocument doc;
    const CheckOutcome outcome = CheckFile(parsed.positionals[0], options, doc);
    if (outcome == CheckOutcome::IoError)
        return ExitUsage;
    const std::string out = parsed.Value("output");
    if (doc.text.empty())
    {
        std::fprintf(stderr, "kvotool pack: '%s' not written: there is no text to pack\n", out.c_str());
        return ExitProblems;
    }
    if (outcome == CheckOutcome::Problems && !parsed.Has("allow-errors"))
    {
        // --force wrote such a file once; say where that went.
        std::fprintf(stderr,
                     "kvotool pack: '%s' not written because of the problems above (--allow-errors writes "
                     "anyway%s)\n",
                     out.c_str(), parsed.Has("force") ? "; --force only replaces an existing file" : "");
        return ExitProblems;
    }
    std::string container;
    std::string error;
    if (!MakeContainer(doc.text, options.key, container, error))
    {
        std::fprintf(stderr, "kvotool pack: %s\n", error.c_str());
        return ExitProblems;
    }
    if (RefuseUnreadableOutput("pack", out, container.size()))
        return ExitProblems;
    if (out == "-" && IsTerminal(stdout))
    {
        std::fprintf(stderr, "kvotool pack: not written: standard output is a terminal, and the container is "
                             "binary (redirect it, or give -o FILE)\n");
        return ExitUsage;
    }
    if (RefuseExistingOutput(invocation, out))
        return ExitUsage;
    if (!WriteFileAtomically(out, container, error))
    {
        std::fprintf(stderr, "kvotool pack: %s\n", error.c_str());
        return ExitUsage;
    }
    if (!options.quiet)
        std::fprintf(stderr, "kvotool pack: wrote %s (%zu bytes%s)\n",
                     out == "-" ? "standard output" : ("'" + out + "'").c_str(), container.size(),
                     options.key ? ", with the given key" : "");
    return outcome == CheckOutcome::Problems ? ExitProblems : ExitOk;
}
} // namespace kvotool
