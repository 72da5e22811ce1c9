#include "doc_report.h"

#include "doc_writer.h"
#include "file_io.h"
#include "version.h"

#include <algorithm>

namespace kvotool
{
namespace
{

const char* SeverityName(Severity s)
{
    switch (s)
    {
    case Severity::Error:
        return "error";
    case Severity::Warning:
        return "warning";
    case Severity::Note:
        break;
    }
    return "note";
}

// The kinds of finding, for SARIF's rule table. The ids are stable: tools
// filter and suppress by them.
struct Rule
{
    const char* id;
    const char* description;
};

const Rule kRules[] = {
    {"metadata", "The check of title.kvo as a whole"},
    {"file-read", "The file cannot be read"},
    {"file-size", "The file is larger than the launch stub reads"},
    {"file-format",
     "The file is neither a document nor a container (empty, UTF-16, a byte-order mark, binary)"},
    {"container", "The container is cut short, damaged or packed with another key"},
    {"invalid-utf8", "The text holds bytes that are not UTF-8"},
    {"comment", "A comment, which JSON does not have and which stops the launch stub's reading"},
    {"trailing-comma", "A comma after the last element, which strict JSON readers refuse"},
    {"json-syntax", "The text is not strict JSON"},
    {"document-structure", "The document cannot be read, or is not an object"},
    {"root-member", "A root member that the launch stub does not find or reads differently"},
    {"field-value", "A field is missing, or its value does not read as meant"},
    {"field-combination", "Fields that do not fit together"},
    {"stub-load", "The launch stub's own load of the file fails"},
    {"metadata-search", "Which title.kvo the launch stub finds from its folder"},
    {"container-key", "Whether the launch stub's key opens the container"},
    {"stub", "The launch stub executable and its version resource"},
    {"installer", "The store front's installer that the launch stub runs"},
    {"game-executable", "The game's own executable named by principalFileName"},
    {"installer-signature", "Who signed the installer that the launch stub elevates"},
    {"installer-policy", "A launch stub with the given installer signer policy runs the installer"},
    {"installer-refused", "A launch stub with the given installer signer policy refuses the installer"},
};

size_t RuleIndex(const Diagnostic& d)
{
    for (size_t i = 0; i < sizeof kRules / sizeof kRules[0]; ++i)
        if (d.rule == kRules[i].id)
            return i;
    return 0;
}

std::string FileOf(const Report& report, const Diagnostic& d)
{
    return d.file.empty() ? report.file : d.file;
}

void WriteVerdict(JsonWriter& w, const Report& report)
{
    w.Begin("verdict");
    w.WriteString("text", report.verdict.c_str());
    if (report.verdictMembers)
        report.verdictMembers(w);
    w.End();
}

std::string Finish(bool written, std::string text)
{
    // The writer fails only on nesting or sizes no report reaches.
    return written ? text + "\n" : std::string();
}
} // namespace

bool ParseOutputFormat(const std::string& text, OutputFormat& format)
{
    if (text == "text")
        format = OutputFormat::Text;
    else if (text == "json")
        format = OutputFormat::Json;
    else if (text == "sarif")
        format = OutputFormat::Sarif;
    else
        return false;
    return true;
}

std::string FormatText(const Report& report)
{
    std::string out = report.diags.Format(report.file);
    for (const auto& line : report.extraLines)
        out += line + "\n";
    if (!report.summary.empty())
        out += report.file + ": " + report.summary + "\n";
    return out;
}

std::string FormatJson(const std::string& command, const std::vector<Report>& reports, int exitStatus)
{
    std::string text;
    size_t errors = 0, warnings = 0;
    for (const auto& r : reports)
    {
        errors += r.diags.Errors();
        warnings += r.diags.Warnings();
    }
    const bool written = WriteDocumentText(
        false, true,
        [&](JsonWriter& w)
        {
            w.Begin(nullptr);
            w.WriteString("tool", "kvotool");
            w.WriteString("version", ToolVersion());
            w.WriteString("command", command.c_str());
            w.BeginArray("reports");
            for (const auto& r : reports)
            {
                w.Begin(nullptr);
                w.WriteString("file", r.file.c_str());
                w.BeginArray("findings");
                for (const auto& d : r.diags.Items())
                {
                    w.Begin(nullptr);
                    w.WriteString("file", FileOf(r, d).c_str());
                    w.WriteString("severity", SeverityName(d.severity));
                    // A finding about the whole file has no position.
                    if (d.line > 0)
                    {
                        w.Write("line", int32_t(d.line));
                        w.Write("column", int32_t(std::max(d.column, 1)));
                    }
                    w.WriteString("message", d.message.c_str());
                    w.WriteString("suggestion", d.suggestion.c_str());
                    w.WriteString("rule", kRules[RuleIndex(d)].id);
                    w.End();
                }
                w.End();
                w.Write("errors", uint32_t(r.diags.Errors()));
                w.Write("warnings", uint32_t(r.diags.Warnings()));
                WriteVerdict(w, r);
                w.End();
            }
            w.End();
            w.Write("errors", uint32_t(errors));
            w.Write("warnings", uint32_t(warnings));
            w.Write("exitStatus", int32_t(exitStatus));
            w.End();
        },
        text);
    return Finish(written, text);
}

std::string FormatSarif(const std::string& command, const std::vector<Report>& reports, int exitStatus)
{
    std::string text;
    const bool written = WriteDocumentText(
        false, true,
        [&](JsonWriter& w)
        {
            w.Begin(nullptr);
            w.WriteString("$schema", "https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/"
                                     "sarif-schema-2.1.0.json");
            w.WriteString("version", "2.1.0");
            w.BeginArray("runs");
            w.Begin(nullptr);
            w.Begin("tool");
            w.Begin("driver");
            w.WriteString("name", "kvotool");
            w.WriteString("version", ToolVersion());
            w.BeginArray("rules");
            for (const Rule& rule : kRules)
            {
                w.Begin(nullptr);
                w.WriteString("id", rule.id);
                w.Begin("shortDescription");
                w.WriteString("text", rule.description);
                w.End();
                w.End();
            }
            w.End();
            w.End();
            w.End();
            w.BeginArray("invocations");
            w.Begin(nullptr);
            w.Write("executionSuccessful", exitStatus != 2);
            w.Write("exitCode", int32_t(exitStatus));
            w.Begin("properties");
            w.WriteString("command", command.c_str());
            w.BeginArray("verdicts");
            for (const auto& r : reports)
            {
                w.Begin(nullptr);
                w.WriteString("file", r.file.c_str());
                WriteVerdict(w, r);
                w.End();
            }
            w.End();
            w.End();
            w.End();
            w.End();
            // The findings count characters, not UTF-16 units.
            w.WriteString("columnKind", "unicodeCodePoints");
            w.BeginArray("results");
            for (const auto& r : reports)
            {
                for (const auto& d : r.diags.Items())
                {
                    const size_t rule = RuleIndex(d);
                    w.Begin(nullptr);
                    w.WriteString("ruleId", kRules[rule].id);
                    w.Write("ruleIndex", uint32_t(rule));
                    w.WriteString("level", SeverityName(d.severity));
                    w.Begin("message");
                    w.WriteString("text", d.message.c_str());
                    w.End();
                    w.BeginArray("locations");
                    w.Begin(nullptr);
                    w.Begin("physicalLocation");
                    w.Begin("artifactLocation");
                    w.WriteString("uri", PathToUri(FileOf(r, d)).c_str());
                    w.End();
                    if (d.line > 0)
                    {
                        w.Begin("region");
                        w.Write("startLine", int32_t(d.line));
                        w.Write("startColumn", int32_t(std::max(d.column, 1)));
                        w.End();
                    }
                    w.End();
                    w.End();
                    w.End();
                    if (!d.suggestion.empty())
                    {
                        w.Begin("properties");
                        w.WriteString("suggestion", d.suggestion.c_str());
                        w.End();
                    }
                    w.End();
                }
            }
            w.End();
            w.End();
            w.End();
            w.End();
        },
        text);
    return Finish(written, text);
}
} // namespace kvotool
