#include "cli.h"
#include "commands.h"
#include "doc_log.h"
#include "doc_writer.h"
#include "file_io.h"

#include <cstdio>

namespace kvotool
{
namespace
{
// Every required field, and the store front, with values that make the
// template load as it is; a maker replaces them.
void EmitTemplate(JsonWriter& w)
{
    w.Begin(nullptr);
    w.Write("metadataVersion", int32_t(1));
    w.WriteString("titleId", "mygame");
    w.WriteString("friendlyName", "My Game");
    w.WriteString("principalFileName", "MyGame.exe");
    w.WriteString("appdataFolderName", "My Game");
    w.WriteString("installFolderRegKey", "SOFTWARE\\My Studio\\My Game");
    w.WriteString("installFolderRegValueName", "InstallFolder");
    w.BeginArray("languages");
    w.WriteString(nullptr, "en");
    w.End();
    w.WriteString("gamePlatform", "default");
    w.End();
}
} // namespace

int RunNew(const Invocation& invocation)
{
    const ParsedArguments& parsed = invocation.args;
    if (!parsed.positionals.empty())
        return UsageError("new", "unexpected argument '" + parsed.positionals[0] + "'");
    if (!parsed.Has("output"))
        return UsageError("new", "the file to write is missing: -o FILE");
    const std::string out = parsed.Value("output");
    if (RefuseExistingOutput(invocation, out))
        return ExitUsage;
    std::string text;
    if (!WriteDocumentText(false, true, EmitTemplate, text))
    {
        std::fprintf(stderr, "kvotool new: the writer failed\n");
        for (const auto& line : TakeLoggedLines())
            std::fprintf(stderr, "  %s\n", line.c_str());
        return ExitUsage;
    }
    text += '\n';
    std::string error;
    if (!WriteFileAtomically(out, text, error))
    {
        std::fprintf(stderr, "kvotool new: %s\n", error.c_str());
        return ExitUsage;
    }
    return ExitOk;
}
} // namespace kvotool
