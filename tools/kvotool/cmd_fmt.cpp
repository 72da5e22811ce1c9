#include "cli.h"
#include "commands.h"
#include "doc_input.h"
#include "doc_log.h"
#include "doc_reader.h"
#include "doc_writer.h"
#include "file_io.h"

#include <cstdio>
#include <cstring>
#include <regex>

namespace kvotool
{
namespace
{
bool IsBlank(char c)
{
    return c == '\t' || c == '\n' || c == '\v' || c == '\r' || c == ' ';
}

bool IsStructuralChar(char c)
{
    return std::strchr("{}[]=,:", c) != nullptr && c != '\0';
}

// The equals syntax writes names bare: a name holding a separator, a blank or
// a quote would read back as something else.
bool NameFitsEqualsSyntax(const std::string& name)
{
    for (char c : name)
        if (IsBlank(c) || IsStructuralChar(c) || c == '"')
            return false;
    return !name.empty();
}

// The writer quotes a text in the equals syntax only for separators and
// blanks; a quote in a bare word would start a string for the reader's scan.
bool TextFitsEqualsSyntax(const std::string& text)
{
    bool quoted = false, quote = false;
    for (char c : text)
    {
        quoted = quoted || IsBlank(c) || IsStructuralChar(c);
        quote = quote || c == '"';
    }
    return quoted || !quote;
}

bool IsJsonNumber(const std::string& raw)
{
    static const std::regex number("-?(0|[1-9][0-9]*)(\\.[0-9]+)?([eE][+-]?[0-9]+)?");
    return std::regex_match(raw, number);
}

// Copies one element of the read document into the writer. Problems that
// make the output differ from what was read go to `problems`.
class Copier
{
public:
    Copier(const std::string& text, bool equals) : m_Text(text), m_Equals(equals) {}

    void Element(JsonWriter& w, const JsonReader& e, const char* name)
    {
        if (e.IsObject() || e.IsArray())
            Container(w, e, name);
        else
            Scalar(w, e, name);
    }

    DiagnosticList problems;

private:
    void Container(JsonWriter& w, const JsonReader& e, const char* name)
    {
        size_t named = 0, unnamed = 0;
        JsonReader child;
        for (bool more = e.FirstChild(child); more; more = child.NextSibling(child))
            (child.HasName() ? named : unnamed)++;
        // The equals syntax writes arrays in braces: braces holding only
        // unnamed elements are an array.
        const bool array = e.IsArray() || (named == 0 && unnamed > 0);
        if (array && named > 0)
            Problem(e, "an array whose elements have names; the names are dropped");
        if (!array && unnamed > 0 && !m_Equals)
            Problem(e, "an object with elements without names cannot be written as JSON");
        if (array)
            w.BeginArray(name);
        else
            w.Begin(name);
        for (bool more = e.FirstChild(child); more; more = child.NextSibling(child))
        {
            std::string childName = MemberName(child);
            if (m_Equals && !array && child.HasName() && !NameFitsEqualsSyntax(childName))
                Problem(child,
                        "the name '" + Shorten(childName) +
                            "' holds a separator, a blank or a quote, which the equals syntax cannot carry");
            Element(w, child, array || !child.HasName() ? nullptr : childName.c_str());
        }
        w.End();
    }

    void Scalar(JsonWriter& w, const JsonReader& e, const char* name)
    {
        if (IsQuoted(e, m_Text))
        {
            std::string value;
            if (!e.GetString(value))
                Problem(e, "a text that cannot be read");
            // The equals syntax would write an empty text as nothing at all,
            // which reads back as the next separator: keep its quotes.
            if (m_Equals && !TextFitsEqualsSyntax(value))
                Problem(e,
                        "the text '" + Shorten(value) +
                            "' holds a quote but no blank or separator; the equals syntax cannot carry it");
            if (m_Equals && value.empty())
                w.WriteRawValue(name, "\"\"");
            else
                w.WriteString(name, value.c_str());
            return;
        }
        std::string raw = RawValue(e);
        if (raw == "true" || raw == "false" || raw == "null" || IsJsonNumber(raw))
            w.WriteRawValue(name, raw.c_str());
        else
        {
            // A bare word is a text in JSON (and stays bare in the equals
            // syntax); its escapes mean what they mean in a quoted text, so
            // resolve them before the writer escapes again.
            std::string value;
            if (!e.GetString(value))
                Problem(e, "a word that cannot be read");
            if (m_Equals && !TextFitsEqualsSyntax(value))
                Problem(e, "the word '" + Shorten(value) +
                               "' holds a quote, which the equals syntax cannot carry");
            w.WriteString(name, value.c_str());
        }
    }

    void Problem(const JsonReader& e, const std::string& message)
    {
        size_t offset = ValueOffset(e, m_Text);
        if (offset == std::string::npos)
            problems.Error(message);
        else
            problems.AddAt(Severity::Error, message, m_Text, offset);
    }

    const std::string& m_Text;
    bool m_Equals;
};
} // namespace

int RunFmt(const Invocation& invocation)
{
    const ParsedArguments& parsed = invocation.args;
    const uint8_t* keyPtr = invocation.Key();
    if (parsed.positionals.size() != 1)
        return UsageError("fmt",
                          parsed.positionals.empty() ? "no input file" : "exactly one input file, please");
    const std::string& in = parsed.positionals[0];
    const std::string shown = in == "-" ? "<stdin>" : in;
    InputDocument doc;
    DiagnosticList diags;
    // Any text is fine to rewrite, also one the stub reads only inside a container.
    InputResult input = LoadInput(in, keyPtr, doc, diags, true);
    std::fputs(diags.Format(shown).c_str(), stderr);
    if (input == InputResult::IoError)
        return ExitUsage;
    if (input != InputResult::Ok)
        return ExitProblems;

    JsonReader root;
    TakeLoggedLines();
    if (!root.Parse(doc.text.c_str(), static_cast<uint32_t>(doc.text.size())) ||
        !(root.IsObject() || root.IsArray()))
    {
        std::fprintf(stderr, "%s: error: the text cannot be read as a document\n", shown.c_str());
        return ExitProblems;
    }
    const bool equals = parsed.Has("equals");
    Copier copier(doc.text, equals);
    std::string out;
    bool written = WriteDocumentText(
        // Readable unless asked otherwise; --pretty is the default kept for old scripts.
        equals, !parsed.Has("compact"),
        [&](JsonWriter& w)
        {
            copier.problems = DiagnosticList();
            copier.Element(w, root, nullptr);
        },
        out);
    for (const auto& line : TakeLoggedLines())
        copier.problems.Error(line);
    std::fputs(copier.problems.Format(shown).c_str(), stderr);
    if (!written || copier.problems.Errors())
    {
        std::fprintf(stderr, "kvotool fmt: nothing written: the document cannot be written %s\n",
                     equals ? "in the equals syntax" : "as JSON");
        return ExitProblems;
    }
    out += '\n';
    if (RefuseUnreadableOutput("fmt", parsed.Value("output", "-"), out.size()))
        return ExitProblems;
    if (RefuseExistingOutput(invocation, parsed.Value("output", "-")))
        return ExitUsage;
    std::string error;
    if (!WriteFileAtomically(parsed.Value("output", "-"), out, error))
    {
        std::fprintf(stderr, "kvotool fmt: %s\n", error.c_str());
        return ExitUsage;
    }
    return ExitOk;
}
} // namespace kvotool
