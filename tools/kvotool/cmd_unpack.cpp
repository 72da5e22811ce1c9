#include "cli.h"
#include "commands.h"
#include "doc_input.h"
#include "file_io.h"

#include <cstdio>

namespace kvotool
{
int RunUnpack(const Invocation& invocation)
{
    const ParsedArguments& parsed = invocation.args;
    const uint8_t* keyPtr = invocation.Key();
    if (parsed.positionals.size() != 1)
        return UsageError("unpack",
                          parsed.positionals.empty() ? "no input file" : "exactly one input file, please");
    const std::string& in = parsed.positionals[0];
    InputDocument doc;
    DiagnosticList diags;
    InputResult result = LoadInput(in, keyPtr, doc, diags);
    std::fputs(diags.Format(in == "-" ? "<stdin>" : in).c_str(), stderr);
    if (result == InputResult::IoError)
        return ExitUsage;
    if (result != InputResult::Ok)
        return ExitProblems;
    std::string error;
    if (RefuseUnreadableOutput("unpack", parsed.Value("output", "-"), doc.text.size()))
        return ExitProblems;
    if (RefuseExistingOutput(invocation, parsed.Value("output", "-")))
        return ExitUsage;
    if (!WriteFileAtomically(parsed.Value("output", "-"), doc.text, error))
    {
        std::fprintf(stderr, "kvotool unpack: %s\n", error.c_str());
        return ExitUsage;
    }
    return ExitOk;
}
} // namespace kvotool
