// Writer-then-reader round trips: the fuzz bytes choose a document (a tree of
// containers and typed values, in JSON or the equals syntax, compact or
// pretty, with or without \u escapes), the writer produces it into a buffer of
// exactly the measured size, and the reader must give every name and value
// back. JSON output must also pass the strict validator.
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

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
    Count
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
    std::string text; // strings and binary data
    std::vector<Node> children;
};

const char* g_Document = nullptr; // the text being read back, for the report

void Fail(const char* what)
{
    fprintf(stderr, "round trip mismatch: %s\ndocument: %s\n", what,
            g_Document ? g_Document : "(not written)");
    abort();
}

#define CHECK(cond)                                                                                          \
    do                                                                                                       \
    {                                                                                                        \
        if (!(cond))                                                                                         \
            Fail(#cond);                                                                                     \
    } while (0)

class Generator
{
public:
    Generator(FuzzedDataProvider& in, bool equals) : m_In(in), m_Equals(equals) {}

    Node Container(bool object, int depth)
    {
        Node n;
        n.kind = object ? Kind::Object : Kind::Array;
        const int count = m_In.ConsumeIntegralInRange<int>(0, 6);
        for (int c = 0; c < count && m_Nodes < 300 && m_In.remaining_bytes() > 0; ++c)
        {
            Node child = Element(depth);
            // Names: required in JSON objects, optional in equals objects, never in arrays.
            child.named = object && (!m_Equals || m_In.ConsumeBool());
            if (child.named)
                child.name = Text(1, 12, !m_Equals);
            n.children.push_back(std::move(child));
        }
        return n;
    }

private:
    Node Element(int depth)
    {
        ++m_Nodes;
        auto kind = static_cast<Kind>(m_In.ConsumeIntegralInRange<int>(0, static_cast<int>(Kind::Count) - 1));
        // The root is level 1; the reader and the writer both stop at MaxDepth.
        if ((kind == Kind::Object || kind == Kind::Array) && depth >= JsonWriter::MaxDepth)
            kind = Kind::Int32;
        Node n;
        n.kind = kind;
        switch (kind)
        {
        case Kind::Object:
        case Kind::Array:
            return Container(kind == Kind::Object, depth + 1);
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
            n.text = Text(m_Equals ? 1 : 0, 40, true);
            break;
        default: // Binary; a bare Base64 token in the equals syntax must not end in '=' padding.
        {
            size_t size = m_In.ConsumeIntegralInRange<size_t>(1, 30);
            if (m_Equals)
                size = (size + 2) / 3 * 3;
            n.text = m_In.ConsumeBytesAsString(size);
            n.text.resize(size, 'z');
            break;
        }
        }
        return n;
    }

    static double Finite(double v) { return std::isfinite(v) && std::fabs(v) <= 1e300 ? v : 0.5; }

    // Characters that come back unchanged: printable ASCII, the five
    // escapable controls, and well-formed UTF-8 of 16-bit code points.
    std::string Text(size_t minLength, size_t maxLength, bool allowBlanksAndStructure)
    {
        std::string out;
        const size_t length = m_In.ConsumeIntegralInRange<size_t>(minLength, maxLength);
        for (size_t k = 0; k < length; ++k)
        {
            const uint8_t pick = m_In.ConsumeIntegral<uint8_t>();
            if (pick < 200)
            {
                char c = static_cast<char>(0x20 + pick % 0x5F);
                if (!allowBlanksAndStructure && (c == ' ' || IsStructural(static_cast<uint8_t>(c))))
                    c = '_';
                if (m_Equals && c == '"')
                    c = '\'';
                out += c;
            }
            else if (pick < 215)
                out += "\b\f\n\r\t"[pick % 5];
            else
            {
                char bytes[4];
                out.append(bytes,
                           EncodeUtf8(0x80 + m_In.ConsumeIntegral<uint16_t>() % (0x10000 - 0x80), bytes));
            }
        }
        return out;
    }

    FuzzedDataProvider& m_In;
    bool m_Equals;
    int m_Nodes = 0;
};

void WriteNode(JsonWriter& w, const Node& n)
{
    const char* name = n.named ? n.name.c_str() : nullptr;
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
        CHECK(n.kind == Kind::Object ? w.Begin(name) : w.BeginArray(name));
        for (const Node& child : n.children)
            WriteNode(w, child);
        CHECK(w.End());
    }
}

// A floating value comes back as precise as its written text.
template <class T>
T AsWritten(const char* format, T v, T (*parse)(const char*, char**))
{
    char text[1100];
    snprintf(text, sizeof text, format, static_cast<double>(v));
    return parse(text, nullptr);
}

void CheckValue(const JsonReader& r, const Node& n)
{
    std::string s;
    int32_t i32 = 0;
    int64_t i64 = 0;
    uint32_t u32 = 0;
    uint64_t u64 = 0;
    bool b = !n.b;
    double d = 0;
    float f = 0;
    switch (n.kind)
    {
    case Kind::Int32:
        CHECK(r.GetInt32(i32) && i32 == static_cast<int32_t>(n.i));
        break;
    case Kind::Int64:
        CHECK(r.GetInt64(i64) && i64 == n.i);
        break;
    case Kind::UInt32:
    case Kind::Hex32:
        CHECK(r.GetUInt32(u32) && u32 == static_cast<uint32_t>(n.u));
        break;
    case Kind::UInt64:
    case Kind::Hex64:
        CHECK(r.GetUInt64(u64) && u64 == n.u);
        break;
    case Kind::Bool:
        CHECK(r.GetBool(b) && b == n.b);
        break;
    case Kind::Double:
        CHECK(r.GetDouble(d) && d == AsWritten<double>(DoubleWriteFormat, n.d, strtod));
        break;
    case Kind::Float:
        CHECK(r.GetFloat(f) && f == AsWritten<float>(FloatWriteFormat, n.f, strtof));
        break;
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
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const bool equals = in.ConsumeBool();
    const bool pretty = in.ConsumeBool();
    const bool escapeUnicode = in.ConsumeBool();
    Generator generator(in, equals);
    const Node root = generator.Container(in.ConsumeBool(), 1);

    auto write = [&](JsonWriter& w)
    {
        w.SetPretty(pretty);
        w.SetEscapeUnicode(escapeUnicode);
        WriteNode(w, root);
        CHECK(w.GetDepth() == 0);
        CHECK(!w.HasFailed());
    };
    JsonWriter measure(nullptr, 0, equals);
    write(measure);
    std::vector<char> buffer(static_cast<size_t>(measure.GetLength()) + 1);
    JsonWriter writer(buffer.data(), static_cast<int32_t>(buffer.size()), equals);
    write(writer);
    const char* text = writer.GetBuffer();
    const int32_t length = writer.GetLength();
    CHECK(length == measure.GetLength() && static_cast<size_t>(length) == strlen(text));
    g_Document = text;
    if (!equals)
        CHECK(JsonValidator::Validate(text, length));

    JsonReader reader;
    CHECK(reader.Parse(text, static_cast<uint32_t>(length)));
    CHECK(!reader.HasName());
    CheckValue(reader, root);
    g_Document = nullptr;
    return 0;
}
