// Writer-then-reader round trips: the fuzz bytes choose a document (a tree of
// containers and typed values, in JSON or the equals syntax, compact or
// pretty, with or without \u escapes), the writer produces it, and the reader
// must give every name and value back. JSON output must also pass the strict
// validator. Abandoned subtrees are written and rolled back on the way, and
// some containers are written by a second writer and embedded whole.
//
// Only text that the writer can represent faithfully is generated: control
// characters other than \b \f \n \r \t become \x escapes the reader does not
// know, an empty bare string is no value, a bare name ends at blanks and
// structural characters, '=' padding ends a bare Base64 token, and a double
// quote inside bare equals-syntax text starts a string for the reader.
#include "json/json_reader.h"
#include "json/json_text.h"
#include "json/json_validator.h"
#include "json/json_writer.h"
#include "log/stub_log.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{

enum class Kind
{
    Object,
    Array,
    Int32,
    Int64,
    UInt32,
    UInt64,
    Hex32,
    Hex64,
    Bool,
    Double,
    Float,
    String,
    Binary,
    KindCount
};

struct Node
{
    Kind kind = Kind::Int32;
    bool named = false;
    std::string name;
    int64_t i = 0;
    uint64_t u = 0;
    double d = 0;
    float f = 0;
    bool b = false;
    std::string text;          // strings and binary data
    bool embed = false;        // containers: written by a second writer
    std::vector<Node> children;
};

struct Options
{
    bool growable = false; // Base64 is encoded in place and never grows the vector
    bool equals = false;
    bool escapeUnicode = false;
    bool pretty = false;
};

constexpr int kMaxNodes = 300;
constexpr size_t kMaxText = 40;

const char* g_Document = nullptr; // the text being read back, for the report
std::string g_LastLog;               // the last message of the writer or reader

// Keeps the last log line, so a mismatch can say what the writer complained of.
class LastLineSink : public LogSink
{
public:
    bool WriteLine(const char* format, va_list args) override
    {
        char line[512];
        vsnprintf(line, sizeof line, format, args);
        g_LastLog = line;
        return true;
    }
    bool GetLogPath(std::wstring& path) override
    {
        path.clear();
        return false;
    }
};

const bool kSinkInstalled = StubLog::Install(std::make_unique<LastLineSink>(), DirectFile);

void Fail(const char* what)
{
    fprintf(stderr, "round trip mismatch: %s\nlast log line: %s\n", what, g_LastLog.c_str());
    if (g_Document != nullptr)
        fprintf(stderr, "document: %s\n", g_Document);
    abort();
}

#define CHECK(cond)                                                                                                    \
    do                                                                                                                 \
    {                                                                                                                  \
        if (!(cond))                                                                                                   \
            Fail(#cond);                                                                                               \
    } while (0)

class Generator
{
public:
    Generator(FuzzedDataProvider& in, const Options& options) : m_In(in), m_Options(options) {}

    // An embedded container is measured before it is written; embedding
    // only once per branch keeps that from doubling at every level.
    Node Container(bool object, int depth, bool insideEmbedded = false)
    {
        Node n;
        n.kind = object ? Kind::Object : Kind::Array;
        n.embed = !insideEmbedded && depth > 1 && m_In.ConsumeIntegralInRange<int>(0, 7) == 0;
        const int count = m_In.ConsumeIntegralInRange<int>(0, 6);
        for (int c = 0; c < count && m_Nodes < kMaxNodes && m_In.remaining_bytes() > 0; ++c)
        {
            Node child = Element(depth, insideEmbedded || n.embed);
            // Names: required in JSON objects, optional in equals objects, never in arrays.
            if (object)
            {
                child.named = !m_Options.equals || m_In.ConsumeBool();
                if (child.named)
                    child.name = Name();
            }
            n.children.push_back(std::move(child));
        }
        return n;
    }

private:
    Node Element(int depth, bool insideEmbedded)
    {
        ++m_Nodes;
        auto kind = static_cast<Kind>(m_In.ConsumeIntegralInRange<int>(0, static_cast<int>(Kind::KindCount) - 1));
        // The root is level 1; the reader and the writer both stop at 32.
        if ((kind == Kind::Object || kind == Kind::Array) && depth >= JsonWriter::MaxDepth)
            kind = Kind::Int32;
        if (kind == Kind::Binary && m_Options.growable)
            kind = Kind::String;
        Node n;
        switch (kind)
        {
        case Kind::Object:
        case Kind::Array:
            return Container(kind == Kind::Object, depth + 1, insideEmbedded);
        case Kind::Int32:
            n.i = m_In.ConsumeIntegral<int32_t>();
            break;
        case Kind::Int64:
            n.i = m_In.ConsumeIntegral<int64_t>();
            break;
        case Kind::UInt32:
        case Kind::Hex32:
            n.u = m_In.ConsumeIntegral<uint32_t>();
            break;
        case Kind::UInt64:
        case Kind::Hex64:
            n.u = m_In.ConsumeIntegral<uint64_t>();
            break;
        case Kind::Bool:
            n.b = m_In.ConsumeBool();
            break;
        case Kind::Double:
            n.d = Finite(m_In.ConsumeFloatingPoint<double>());
            break;
        case Kind::Float:
            n.f = static_cast<float>(Finite(m_In.ConsumeFloatingPoint<float>()));
            break;
        case Kind::String:
            n.text = Text(!m_Options.equals);
            break;
        case Kind::Binary:
        {
            // A bare Base64 token in the equals syntax must not end in '=' padding.
            size_t size = m_In.ConsumeIntegralInRange<size_t>(1, 30);
            if (m_Options.equals)
                size = (size + 2) / 3 * 3;
            n.text = m_In.ConsumeBytesAsString(size);
            if (n.text.size() < size)
                n.text.resize(size, 'z');
            break;
        }
        default:
            break;
        }
        n.kind = kind;
        return n;
    }

    static double Finite(double v)
    {
        if (!std::isfinite(v) || std::fabs(v) > 1e300)
            return 0.5;
        return v;
    }

    // One character that comes back unchanged: printable ASCII, the five
    // escapable controls, and (as whole UTF-8 sequences) non-ASCII text.
    void AppendChar(std::string& out, bool allowBlanksAndStructure)
    {
        const uint8_t pick = m_In.ConsumeIntegral<uint8_t>();
        if (pick < 200)
        {
            char c = static_cast<char>(0x20 + pick % 0x5F); // ' ' to '~'
            if (!allowBlanksAndStructure && (c == ' ' || IsStructural(static_cast<uint8_t>(c))))
                c = '_';
            // A bare token holding a double quote would look like the start of
            // a string to the reader's container scan; the writer only quotes
            // equals-syntax text for blanks and structural characters.
            if (m_Options.equals && c == '"')
                c = '\'';
            out += c;
        }
        else if (pick < 215)
        {
            static const char controls[] = {'\b', '\f', '\n', '\r', '\t'};
            out += controls[pick % 5];
        }
        else
        {
            // With \u escapes the code point has to fit 16 bits and the
            // sequence must be well formed; without them any bytes above
            // 0x80 pass through, but keep them well formed too.
            const uint32_t cp = 0x80 + m_In.ConsumeIntegral<uint16_t>() % (0x10000 - 0x80);
            char bytes[4];
            const uint32_t n = EncodeUtf8(cp, bytes);
            out.append(bytes, n);
        }
    }

    std::string Text(bool mayBeEmpty)
    {
        std::string out;
        const size_t length = m_In.ConsumeIntegralInRange<size_t>(mayBeEmpty ? 0 : 1, kMaxText);
        for (size_t k = 0; k < length; ++k)
            AppendChar(out, true);
        if (out.empty() && !mayBeEmpty)
            out = "s";
        return out;
    }

    std::string Name()
    {
        std::string out;
        const size_t length = m_In.ConsumeIntegralInRange<size_t>(1, 12);
        for (size_t k = 0; k < length; ++k)
            AppendChar(out, !m_Options.equals);
        return out;
    }

    FuzzedDataProvider& m_In;
    Options m_Options;
    int m_Nodes = 0;
};

void WriteNode(JsonWriter& w, const Node& n, FuzzedDataProvider& in, const Options& options);

// A few elements that are written and then cut away again.
void WriteAbandoned(JsonWriter& w, FuzzedDataProvider& in, const Options& options, bool inObject)
{
    // Measuring keeps no text to cut, and a full nest has no room for more.
    if (w.GetBuffer() == nullptr || w.GetDepth() >= JsonWriter::MaxDepth)
        return;
    int32_t position = -1;
    const char* name = inObject && !options.equals ? "gone" : nullptr;
    const int32_t depth = w.GetDepth();
    const bool object = in.ConsumeBool();
    // In a buffer sized by measuring, the abandoned text may not fit: its
    // failure is cut away with it.
    if (object ? w.Begin(name, &position) : w.BeginArray(name, &position))
    {
        const char* inner = object && !options.equals ? "x" : nullptr;
        w.Write(inner, 1);
    // No brackets in the text: Rollback counts them even inside strings.
        w.WriteString(inner, "not here");
    }
    CHECK(w.Rollback(position));
    CHECK(!w.HasFailed());
    CHECK(w.GetDepth() == depth);
}

// WriteDocument puts the name in as it stands, unescaped.
bool NameIsPlain(const char* name, const Options& options)
{
    for (const char* p = name; p != nullptr && *p != '\0'; ++p)
    {
        const uint8_t c = static_cast<uint8_t>(*p);
        if (NeedsEscape(c) || IsControl(c) || (options.escapeUnicode && IsHighByte(c)))
            return false;
    }
    return true;
}

void WriteValue(JsonWriter& w, const char* name, const Node& n, FuzzedDataProvider& in, const Options& options)
{
    switch (n.kind)
    {
    case Kind::Int32:
        CHECK(w.Write(name, static_cast<int32_t>(n.i)));
        break;
    case Kind::Int64:
        CHECK(w.Write(name, n.i));
        break;
    case Kind::UInt32:
        CHECK(w.Write(name, static_cast<uint32_t>(n.u)));
        break;
    case Kind::UInt64:
        CHECK(w.Write(name, n.u));
        break;
    case Kind::Hex32:
        CHECK(w.WriteHex(name, static_cast<uint32_t>(n.u)));
        break;
    case Kind::Hex64:
        CHECK(w.WriteHex(name, n.u));
        break;
    case Kind::Bool:
        CHECK(w.Write(name, n.b));
        break;
    case Kind::Double:
        CHECK(w.Write(name, n.d));
        break;
    case Kind::Float:
        CHECK(w.Write(name, n.f));
        break;
    case Kind::String:
        CHECK(w.WriteString(name, n.text.c_str()));
        break;
    case Kind::Binary:
        CHECK(w.WriteBinary(name, n.text.data(), static_cast<uint32_t>(n.text.size())));
        break;
    default:
    {
        const bool object = n.kind == Kind::Object;
        if (n.embed && NameIsPlain(name, options))
        {
            // The container as a document of its own, embedded whole.
            JsonWriter measure(nullptr, 0, options.equals);
            measure.SetPretty(options.pretty);
            measure.SetEscapeUnicode(options.escapeUnicode);
            Node root = n;
            root.embed = false;
            root.named = false;
            WriteNode(measure, root, in, options);
            CHECK(!measure.HasFailed());
            // Room for the abandoned elements, which are written before they are cut.
            std::vector<char> scratch(static_cast<size_t>(measure.GetLength()) + 1 + 1024);
            auto sub = std::make_unique<JsonWriter>(scratch.data(), static_cast<int32_t>(scratch.size()),
                                                    options.equals);
            sub->SetPretty(options.pretty);
            sub->SetEscapeUnicode(options.escapeUnicode);
            WriteNode(*sub, root, in, options);
            CHECK(!sub->HasFailed());
            CHECK(w.WriteDocument(name, *sub));
            break;
        }
        CHECK(object ? w.Begin(name) : w.BeginArray(name));
        for (const Node& child : n.children)
        {
            if (in.ConsumeIntegralInRange<int>(0, 15) == 0)
                WriteAbandoned(w, in, options, object);
            WriteNode(w, child, in, options);
        }
        CHECK(w.End());
        break;
    }
    }
}

void WriteNode(JsonWriter& w, const Node& n, FuzzedDataProvider& in, const Options& options)
{
    WriteValue(w, n.named ? n.name.c_str() : nullptr, n, in, options);
}

std::string Formatted(const char* format, double v)
{
    char text[1100];
    snprintf(text, sizeof text, format, v);
    return text;
}

void CheckValue(const JsonReader& r, const Node& n)
{
    std::string s;
    switch (n.kind)
    {
    case Kind::Int32:
    {
        int32_t v = 0;
        CHECK(r.GetInt32(v) && v == static_cast<int32_t>(n.i));
        break;
    }
    case Kind::Int64:
    {
        int64_t v = 0;
        CHECK(r.GetInt64(v) && v == n.i);
        break;
    }
    case Kind::UInt32:
    case Kind::Hex32:
    {
        uint32_t v = 0;
        CHECK(r.GetUInt32(v) && v == static_cast<uint32_t>(n.u));
        break;
    }
    case Kind::UInt64:
    case Kind::Hex64:
    {
        uint64_t v = 0;
        CHECK(r.GetUInt64(v) && v == n.u);
        break;
    }
    case Kind::Bool:
    {
        bool v = !n.b;
        CHECK(r.GetBool(v) && v == n.b);
        break;
    }
    case Kind::Double:
    {
        // The value comes back as precise as its written text.
        double v = 0;
        CHECK(r.GetDouble(v) && v == strtod(Formatted(DoubleWriteFormat, n.d).c_str(), nullptr));
        break;
    }
    case Kind::Float:
    {
        float v = 0;
        CHECK(r.GetFloat(v) && v == strtof(Formatted(FloatWriteFormat, n.f).c_str(), nullptr));
        break;
    }
    case Kind::String:
        CHECK(r.GetString(s) && s == n.text);
        break;
    case Kind::Binary:
    {
        CHECK(r.GetString(s));
        std::vector<uint8_t> bytes(n.text.size() + 4);
        uint32_t written = 0;
        CHECK(Base64Decode(s.c_str(), static_cast<uint32_t>(bytes.size()), bytes.data(), written));
        CHECK(written == n.text.size() && memcmp(bytes.data(), n.text.data(), written) == 0);
        break;
    }
    default:
    {
        CHECK(r.IsObject() || r.IsArray());
        JsonReader child;
        bool more = r.FirstChild(child);
        for (const Node& expected : n.children)
        {
            CHECK(more);
            CHECK(child.HasName() == expected.named);
            if (expected.named)
            {
                std::vector<char> name(static_cast<size_t>(child.nameLength) + 1);
                CHECK(child.GetName(name.data(), static_cast<uint32_t>(name.size())));
                CHECK(expected.name == name.data());
            }
            CheckValue(child, expected);
            more = child.NextSibling(child);
        }
        CHECK(!more);
        break;
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    (void)kSinkInstalled;
    g_LastLog.clear();
    FuzzedDataProvider in(data, size);
    Options options;
    options.equals = in.ConsumeBool();
    options.pretty = in.ConsumeBool();
    options.escapeUnicode = in.ConsumeBool();
    const int mode = in.ConsumeIntegralInRange<int>(0, 2); // caller buffer, measured buffer, growable
    options.growable = mode == 2 && !options.equals;

    Generator generator(in, options);
    const Node root = generator.Container(in.ConsumeBool(), 1);
    // The writing choices (abandoned elements) come from bytes of their own.
    const std::string choices = in.ConsumeRemainingBytesAsString();

    auto write = [&](JsonWriter& w) {
        w.SetPretty(options.pretty);
        w.SetEscapeUnicode(options.escapeUnicode);
        FuzzedDataProvider writeIn(reinterpret_cast<const uint8_t*>(choices.data()), choices.size());
        WriteNode(w, root, writeIn, options);
        CHECK(w.GetDepth() == 0);
    };

    std::vector<char> buffer;
    JsonWriter writer;
    if (options.growable)
    {
        writer.InitGrowable(16);
        write(writer);
    }
    else
    {
        JsonWriter measure(nullptr, 0, options.equals);
        write(measure);
        CHECK(!measure.HasFailed());
        // Exactly the measured size, or with room for the abandoned elements.
        const int32_t capacity = measure.GetLength() + 1 + (mode == 1 ? 0 : 1024);
        buffer.resize(static_cast<size_t>(capacity));
        writer.Init(buffer.data(), capacity, options.equals);
        write(writer);
        if (mode == 1)
            CHECK(writer.GetLength() + 1 == capacity);
    }
    CHECK(!writer.HasFailed());
    const char* text = writer.GetBuffer();
    g_Document = text;
    const int32_t length = writer.GetLength();
    CHECK(static_cast<size_t>(length) == strlen(text));

    if (!options.equals)
        CHECK(JsonValidator::Validate(text, length));

    JsonReader reader;
    CHECK(reader.Parse(text, static_cast<uint32_t>(length)));
    CHECK(!reader.HasName());
    CheckValue(reader, root);
    g_Document = nullptr;
    return 0;
}
