// Parses arbitrary bytes as a document and reads every element in every way
// the reader offers; also checks the block-wise container scan against the
// byte-wise one and runs the text primitives over the same bytes. Looking
// every member up by name makes a run quadratic in the input; the plain walk
// of every element runs far faster in fuzz_json_reader_walk.
#include "json/json_reader.h"
#include "json/json_scan.h"
#include "json/json_text.h"
#include "log/stub_log.h"
#include "support/formatting_sink.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{

volatile uint64_t g_Sink; // keeps results observable

void Use(uint64_t v)
{
    g_Sink = g_Sink + v;
}

void ReadScalars(const JsonReader& r)
{
    int8_t i8;
    int16_t i16;
    int32_t i32;
    int64_t i64;
    uint8_t u8;
    uint16_t u16;
    uint32_t u32;
    uint64_t u64;
    float f;
    double d;
    bool b;
    Use(r.GetInt8(i8) + r.GetInt16(i16) + r.GetInt32(i32) + r.GetInt64(i64));
    Use(r.GetUInt8(u8) + r.GetUInt16(u16) + r.GetUInt32(u32) + r.GetUInt64(u64));
    Use(r.GetFloat(f) + r.GetDouble(d) + r.GetBool(b) + r.IsNull());

    std::string s;
    Use(r.GetString(s) + s.size());
    Use(r.GetRawString(s) + s.size());
    const int32_t n = r.GetValueLength();
    std::vector<char> buffer(static_cast<size_t>(n) + 1);
    uint32_t written = 0;
    if (r.GetString(buffer.data(), static_cast<uint32_t>(buffer.size()), written) &&
        written > static_cast<uint32_t>(n))
        std::abort(); // unescaping never grows the text
    Use(r.GetRawString(buffer.data(), static_cast<uint32_t>(buffer.size())));
    if (r.GetString(buffer.data(), static_cast<uint32_t>(n)))
        std::abort(); // a buffer of the raw length is too small
    if (r.HasName())
    {
        std::vector<char> name(static_cast<size_t>(r.nameLength) + 1);
        if (!r.GetName(name.data(), static_cast<uint32_t>(name.size())))
            std::abort();
        std::string raw(r.text + r.nameOffset, static_cast<size_t>(r.nameLength));
        if (!r.NameEquals(raw.c_str(), false) && raw.find('\0') == std::string::npos)
            std::abort();
    }
    int32_t length = 0;
    const char* t = r.GetValueText(nullptr, length);
    if (length > 0)
        Use(static_cast<uint8_t>(t[length - 1]));
    Use(static_cast<uint64_t>(r.GetBase64Length()));
    Use(r.ValueEquals("null", true));
    JsonReader doc;
    if (r.AsDocument(doc) && doc.IsValid())
        Use(static_cast<uint64_t>(doc.valueLength));
}

void ReadByName(const JsonReader& parent, const JsonReader& child)
{
    if (!child.HasName())
        return;
    std::string name(child.text + child.nameOffset, static_cast<size_t>(child.nameLength));
    JsonReader found;
    if (!parent.FindMember(name.c_str(), found))
    {
        // Only a name with a NUL in it (which ends the C string) can miss.
        if (name.find('\0') == std::string::npos)
            std::abort();
        return;
    }
    // The lookup must give the first child of that name that a walk meets.
    JsonReader walk;
    for (bool more = parent.FirstChild(walk); more; more = walk.NextSibling(walk))
        if (walk.nameLength == child.nameLength &&
            std::memcmp(walk.text + walk.nameOffset, name.data(), name.size()) == 0)
            break;
    if (walk.text != found.text || walk.textLength != found.textLength ||
        walk.nameOffset != found.nameOffset || walk.nameLength != found.nameLength ||
        walk.valueOffset != found.valueOffset || walk.valueLength != found.valueLength)
        std::abort();
    int16_t i16;
    int32_t i32;
    int64_t i64;
    uint16_t u16;
    uint32_t u32;
    uint64_t u64;
    float f;
    double d;
    bool b;
    std::string s;
    char small[16];
    Use(parent.GetInt16(name.c_str(), i16) + parent.GetInt32(name.c_str(), i32) +
        parent.GetInt64(name.c_str(), i64));
    Use(parent.GetUInt16(name.c_str(), u16) + parent.GetUInt32(name.c_str(), u32) +
        parent.GetUInt64(name.c_str(), u64));
    Use(parent.GetFloat(name.c_str(), f) + parent.GetDouble(name.c_str(), d) +
        parent.GetBool(name.c_str(), b));
    Use(parent.GetString(name.c_str(), s) + parent.GetString(name.c_str(), small, sizeof small) +
        parent.GetRawString(name.c_str(), small, sizeof small));
    Use(static_cast<uint64_t>(parent.GetValueLength(name.c_str()) + parent.GetBase64Length(name.c_str())));
    JsonReader doc;
    Use(parent.AsDocument(name.c_str(), doc));
}

void Walk(const JsonReader& r, int depth, int& budget)
{
    if (--budget < 0)
        return;
    ReadScalars(r);
    if (depth > 100)
        return;
    JsonReader child;
    int index = 0;
    for (bool more = r.FirstChild(child); more && budget > 0; more = child.NextSibling(child))
    {
        // By-name reads rescan the parent: limit them so that wide
        // containers do not make each run quadratic.
        if (index++ < 64)
            ReadByName(r, child);
        Walk(child, depth + 1, budget);
    }
}

void CheckContainerScans(const char* s, int32_t n)
{
    int checked = 0;
    for (int32_t i = 0; i < n && checked < 32; ++i)
    {
        if (s[i] != '{' && s[i] != '[')
            continue;
        ++checked;
        bool deepFast = false;
        bool deepSlow = false;
        const int32_t fast = jsonscan::ContainerEnd(s, n, i, deepFast);
        const int32_t slow = jsonscan::ContainerEndBytewise(s, n, i, deepSlow);
        if (fast != slow || deepFast != deepSlow)
            std::abort();
        bool deepBaseline = false;
        if (jsonscan::ContainerEndBaseline(s, n, i, deepBaseline) != slow || deepBaseline != deepSlow)
            std::abort();
    }
}

void TextPrimitives(const uint8_t* data, size_t size)
{
    const char* s = reinterpret_cast<const char*>(data);
    const int32_t n = static_cast<int32_t>(size);
    int32_t pos = 0;
    while (pos < n)
    {
        const int32_t before = pos;
        Use(DecodeUtf8(s, n, pos));
        if (pos == before)
            ++pos;
    }
    for (int32_t i = 0; i < n; ++i)
    {
        uint32_t cp;
        char out[4];
        const int32_t used = DecodeEscape(s + i, n - i, cp);
        if (used > n - i)
            std::abort();
        Use(EncodeUtf8(cp, out));
    }
    std::string terminated(s, size);
    Use(IsBase64(terminated.c_str(), static_cast<uint32_t>(size)));
    uint8_t decoded[256];
    uint32_t length = 0;
    if (Base64Decode(terminated.c_str(), sizeof decoded, decoded, length) && length > 0)
    {
        char encoded[512];
        if (!Base64Encode(decoded, length, encoded, sizeof encoded, &length))
            std::abort();
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static bool logging = StubLog::Install(std::make_unique<FormattingSink>(), DirectFile);
    (void)logging;
    if (size > (1u << 20))
        return 0;
    // An exact-size copy: reading past the given length is an ASan error.
    std::unique_ptr<char[]> text(new char[size ? size : 1]);
    if (size)
        std::memcpy(text.get(), data, size);
    const uint32_t n = static_cast<uint32_t>(size);

    JsonReader root;
    root.Parse(text.get(), n);
    int budget = 20000;
    Walk(root, 0, budget);
    JsonReader empty;
    Walk(empty, 0, budget);
    // The same bytes as a NUL-terminated text with an all-ones length: every
    // scan must stop at the terminator.
    std::string terminated(reinterpret_cast<const char*>(data), size);
    JsonReader unbounded;
    unbounded.Parse(terminated.c_str(), 0xFFFFFFFFu);
    budget = 2000;
    Walk(unbounded, 0, budget);
    CheckContainerScans(text.get(), static_cast<int32_t>(n));
    TextPrimitives(data, size);
    return 0;
}
