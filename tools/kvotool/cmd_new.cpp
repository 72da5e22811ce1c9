#include "cli.h"
#include "commands.h"
#include "doc_log.h"
#include "doc_writer.h"
#include "file_io.h"
#include "metadata/metadata_fields.h"

#include <cstddef>
#include <cstdio>

namespace kvotool
{
namespace
{
// The example of every required or suggested row of the key table: values
// that make the template load as it is; a maker replaces them.
void Example(JsonWriter&, const char*, std::nullptr_t) {}
void Example(JsonWriter& w, const char* key, int32_t value)
{
    w.Write(key, value);
}
void Example(JsonWriter& w, const char* key, const char* text)
{
    w.WriteString(key, text);
}
void ExampleList(JsonWriter&, const char*, std::nullptr_t) {}
void ExampleList(JsonWriter& w, const char* key, const char* text)
{
    w.BeginArray(key);
    w.WriteString(nullptr, text);
    w.End();
}

void EmitTemplate(JsonWriter& w)
{
    w.Begin(nullptr);
#define KVO_FIELD(Type, member, key, use, Getter, access) Example(w, key, KVO_USE_EXAMPLE(use));
#define KVO_TEXTS(member, key, use, Getter, access, description) ExampleList(w, key, KVO_USE_EXAMPLE(use));
#include "metadata/metadata_fields.def"
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
