#include "cli.h"
#include "commands.h"
#include "doc_check.h"
#include "doc_log.h"
#include "file_io.h"
#include "metadata/metadata_container.h"
#include "metadata/metadata_enums.h"
#include "metadata/metadata_fields.h"
#include "metadata/title_metadata.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <iterator>
#include <map>
#include <memory>

namespace kvotool
{
namespace
{
std::string Quote(const char* text)
{
    std::string out = "\"";
    for (const char* p = text ? text : ""; *p; ++p)
    {
        unsigned char c = static_cast<unsigned char>(*p);
        if (c == '"' || c == '\\')
        {
            out += '\\';
            out += static_cast<char>(c);
        }
        else if (c == '\n')
            out += "\\n";
        else if (c == '\t')
            out += "\\t";
        else if (c == '\r')
            out += "\\r";
        else if (c < 0x20 || c == 0x7F)
        {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04X", c);
            out += buf;
        }
        else
            out += static_cast<char>(c);
    }
    return out + "\"";
}

std::string Texts(const TextList& list)
{
    std::string out = "[";
    for (uint32_t i = 0; i < list.Count(); ++i)
        out += (i ? ", " : "") + Quote(list.At(i));
    return out + "]";
}

std::string Number(int64_t v)
{
    return std::to_string(v);
}

std::string Bool(bool v)
{
    return v ? "true" : "false";
}

std::string Enum(uint32_t value, const char* (*keyword)(uint32_t))
{
    if (value == kMetadataUnset)
        return "unset (0xFFFFFFFF)";
    return std::to_string(value) + " (" + Quote(keyword(value)) + ")";
}

std::string FeatureNames(uint32_t mask)
{
    QuietLog quiet;
    std::string out;
    for (uint32_t shift = 0; shift < 32; ++shift)
    {
        const uint32_t bit = 1u << shift;
        if (!(mask & bit))
            continue;
        std::string name = PlatformFeatureName(bit);
        if (name.empty())
            name = "bit " + std::to_string(bit);
        out += (out.empty() ? "" : ", ") + name;
    }
    return out.empty() ? "none" : out;
}

std::string Shown(int32_t v)
{
    return Number(v);
}
std::string Shown(bool v)
{
    return Bool(v);
}
std::string Shown(const char* v)
{
    return Quote(v);
}
std::string Shown(const TextList& v)
{
    return Texts(v);
}
std::string Shown(const AppIdList& ids)
{
    std::string out = "[";
    for (uint32_t i = 0; i < ids.Count(); ++i)
        out += (i ? ", " : "") + std::to_string(ids.At(i));
    return out + "]";
}

struct Getter
{
    std::string name;
    FieldKind kind;
    std::function<std::string(TitleMetadata&)> read;
    bool readsField; // false: the getter reads nothing and keeps the status
};

// Every getter of the key table, in its order; platforms and
// customPrerequisites have their own sections below the table.
const std::vector<Getter>& Getters()
{
    using M = TitleMetadata;
    static const std::vector<Getter> getters = []
    {
        std::vector<Getter> rows = {
#define KVO_FIELD(Type, member, key, use, Getter, access)                                                    \
    KVO_IF_GETTER(access, {key, Type::kKind, [](M& m) { return Shown(m.Getter()); }, true}, )
#define KVO_ENUM(member, key, use, Getter, access, Enumeration, start, description)                          \
    {key, FieldKind::Enum, [](M& m) { return Enum(m.Getter(), Enumeration##Keyword); }, true},
#define KVO_PLATFORMS(...)
#define KVO_PREREQS(...)
#include "metadata/metadata_fields.def"
        };
        // A key read in two forms names the form, unless one is its keyword.
        std::map<std::string, int> forms;
        for (const Getter& row : rows)
            ++forms[row.name];
        for (Getter& row : rows)
        {
            if (forms[row.name] > 1 && row.kind == FieldKind::Texts)
                row.name += " (list)";
            else if (forms[row.name] > 1 && row.kind == FieldKind::Text)
                row.name += " (text)";
        }
        // What the getters derive from the fields, after the field they derive from.
        const Getter derived[] = {
            {"cloudSaveRoot (name)", FieldKind::Text, [](M& m) { return Quote(m.GetCloudSaveRootName()); },
             false},
            {"HasSteamAppIds", FieldKind::Bool, [](M& m) { return Bool(m.HasSteamAppIds()); }, true},
            {"HasEpicConfig", FieldKind::Bool, [](M& m) { return Bool(m.HasEpicConfig()); }, true},
        };
        const char* const after[] = {"cloudSaveRoot", "steamAppIds", nullptr};
        for (size_t i = 0; i < std::size(derived); ++i)
        {
            auto at = std::find_if(rows.begin(), rows.end(),
                                   [&](const Getter& row) { return after[i] && row.name == after[i]; });
            rows.insert(at == rows.end() ? at : at + 1, derived[i]);
        }
        return rows;
    }();
    return getters;
}

// printf into the text being built.
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
void Out(std::string& out, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    char small[512];
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(small, sizeof small, format, args);
    if (n >= 0 && static_cast<size_t>(n) < sizeof small)
        out.append(small, static_cast<size_t>(n));
    else if (n >= 0)
    {
        std::string big(static_cast<size_t>(n) + 1, '\0');
        std::vsnprintf(&big[0], big.size(), format, again);
        out.append(big.data(), static_cast<size_t>(n));
    }
    va_end(again);
    va_end(args);
}

std::string Padded(std::string s, size_t width)
{
    if (s.size() < width)
        s.append(width - s.size(), ' ');
    return s + " ";
}
} // namespace

int RunShow(const Invocation& invocation)
{
    const ParsedArguments& parsed = invocation.args;
    const uint8_t* keyPtr = invocation.Key();
    if (parsed.positionals.size() != 1)
        return UsageError("show",
                          parsed.positionals.empty() ? "no file to show" : "exactly one file, please");
    const std::string& path = parsed.positionals[0];
    InputDocument doc;
    DiagnosticList diags;
    InputResult input = LoadInput(path, keyPtr, doc, diags);
    std::fputs(diags.Format(path == "-" ? "<stdin>" : path).c_str(), stderr);
    if (input == InputResult::IoError)
        return ExitUsage;
    if (input != InputResult::Ok)
        return ExitProblems;

    std::string out;
    if (parsed.Has("text"))
    {
        out = doc.text;
        if (!doc.text.empty() && doc.text.back() != '\n')
            out += '\n';
        out += '\n';
    }

    TakeLoggedLines();
    std::unique_ptr<TitleMetadata> metadata(CreateTitleMetadata());
    const uint32_t status =
        metadata->LoadFromMemory(doc.stubBytes.data(), static_cast<uint32_t>(doc.stubBytes.size()));
    Out(out, "file: %s (%s)\n", path == "-" ? "<stdin>" : path.c_str(),
        doc.kind == InputKind::Container ? "container" : "plain JSON");
    // The fingerprint the stub's file properties show for the key it opens.
    if (doc.kind == InputKind::Container)
        Out(out, "key fingerprint: %s\n",
            ContainerKeyFingerprint(keyPtr ? keyPtr : GetContainerKey()).c_str());
    Out(out, "load: %u %s%s\n", status, MetadataStatusName(status),
        status ? " - the launch stub stops here; below is what its getters would answer" : "");
    for (const auto& line : TakeLoggedLines())
        Out(out, "log:  %s\n", line.c_str());
    Out(out, "\n%s%s%s\n", Padded("field", 26).c_str(), Padded("status", 24).c_str(), "value");

    for (const auto& getter : Getters())
    {
        std::string value = getter.read(*metadata);
        std::string statusText = "-";
        if (getter.readsField)
        {
            uint32_t s = metadata->GetLastStatus();
            statusText = std::to_string(s) + " " + MetadataStatusName(s);
        }
        Out(out, "%s%s%s\n", Padded(getter.name, 26).c_str(), Padded(statusText, 24).c_str(), value.c_str());
    }

    Out(out, "\nplatform features (GetPlatformFeatures):\n");
    for (uint32_t platform = 0; platform < GamePlatform::Count; ++platform)
    {
        uint32_t mask = metadata->GetPlatformFeatures(platform);
        uint32_t s = metadata->GetLastStatus();
        char hex[16];
        std::snprintf(hex, sizeof hex, "0x%08X", mask);
        Out(out, "  %s%s%s%s\n", Padded(GamePlatformKeyword(platform), 9).c_str(), Padded(hex, 10).c_str(),
            Padded(std::to_string(s) + " " + MetadataStatusName(s), 24).c_str(), FeatureNames(mask).c_str());
    }

    const PrerequisiteList& prereqs = metadata->GetCustomPrerequisites();
    uint32_t s = metadata->GetLastStatus();
    Out(out, "\ncustomPrerequisites: %u %s, %u record%s\n", s, MetadataStatusName(s), prereqs.Count(),
        prereqs.Count() == 1 ? "" : "s");
    for (uint32_t i = 0; i < prereqs.Count(); ++i)
    {
        const PrerequisiteRecord& r = prereqs.At(i);
        std::string codes;
        for (uint32_t k = 0; k < r.GetIgnoreExitCodes().Count(); ++k)
            codes += (k ? ", " : "") + std::to_string(r.GetIgnoreExitCodes().At(k));
        Out(out,
            "  [%u] prerequisiteId=%s friendlyName=%s version=%s executableName=%s commandline=%s "
            "locKey=%s ignoreExitCodes=[%s]\n",
            i, Quote(r.GetPrerequisiteId()).c_str(), Quote(r.GetFriendlyName()).c_str(),
            Quote(r.GetVersion()).c_str(), Quote(r.GetExecutableName()).c_str(),
            Quote(r.GetCommandline()).c_str(), Quote(r.GetLocKey()).c_str(), codes.c_str());
    }
    TakeLoggedLines();
    std::string error;
    if (!WriteFileAtomically(parsed.Value("output", "-"), out, error))
    {
        std::fprintf(stderr, "kvotool show: %s\n", error.c_str());
        return ExitUsage;
    }
    return status == 0 ? ExitOk : ExitProblems;
}
} // namespace kvotool
