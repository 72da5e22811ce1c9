#include "json/json_reader.h"

#include "json/json_scan.h"
#include "json/json_text.h"
#include "log/stub_log.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

using jsonscan::ContainerEnd;
using jsonscan::SkipSpace;
using jsonscan::ValueEnd;

namespace
{
// Advanced by every top-level parse; see JsonMemberLookup.
std::atomic<uint64_t> g_ParseEpoch{1};

// Scans use signed 32-bit positions: longer texts are read as far as that
// reaches.
inline int32_t ScanEnd(uint32_t length)
{
    return length > static_cast<uint32_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(length);
}

inline bool IsBlank(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\v';
}

inline bool IsOpener(char c)
{
    return c == '{' || c == '[';
}

// The message text is the document from the element on; it is copied because
// the document need not be NUL-terminated, and capped so that a broken
// multi-megabyte document does not turn into one log line of that size.
void LogUnexpected(const char* base, int32_t end, int32_t offset)
{
    if (!StubLog::IsOn())
        return;
    constexpr int32_t kMaxQuoted = 64 * 1024;
    const int32_t limit = end < kMaxQuoted ? end : kMaxQuoted;
    // Byte by byte: the length may run past the NUL that ends the text.
    size_t n = 0;
    while (n < static_cast<size_t>(limit) && base[n] != '\0')
        ++n;
    std::unique_ptr<char[]> copy(new (std::nothrow) char[n + 1]);
    if (!copy)
        return;
    std::memcpy(copy.get(), base, n);
    copy[n] = '\0';
    StubLog::Printf("Unexpected character %c at offset:%d in \"%s\"", base[offset], offset, copy.get());
}
} // namespace

JsonReader::JsonReader(const char* documentText, uint32_t length)
{
    Parse(documentText, length);
}

bool JsonReader::Parse(const char* documentText, uint32_t length)
{
    // New text may sit where an earlier document was: forget what lookups
    // remembered about earlier texts.
    g_ParseEpoch.fetch_add(1, std::memory_order_relaxed);
    return ParseAt(documentText, length, 0);
}

void JsonReader::Clear()
{
    text = nullptr;
    textLength = 0;
    nameOffset = -1;
    nameLength = -1;
    valueOffset = -1;
    valueLength = -1;
    tooDeep = false;
}

bool JsonReader::ParseAt(const char* base, uint32_t length, int32_t start)
{
    Clear();
    if (!base || length == 0)
        return false;
    const int32_t end = ScanEnd(length);
    const int32_t p = SkipSpace(base, end, start);
    if (p < 0)
        return false;
    int32_t nOffset = -1;
    int32_t nLength = -1;
    int32_t vOffset;
    int32_t vEnd;
    bool deep = false;
    const char c = base[p];
    if (IsOpener(c))
    {
        vOffset = p;
        vEnd = ContainerEnd(base, end, p, deep);
    }
    else if (IsStructural(static_cast<uint8_t>(c)))
    {
        return false;
    }
    else
    {
        const int32_t e = ValueEnd(base, end, p);
        if (e <= p)
            return false;
        const int32_t q = SkipSpace(base, end, e);
        if (q >= 0 && (base[q] == ':' || base[q] == '='))
        {
            if (c == '"')
            {
                nOffset = p + 1;
                nLength = e - p - 2;
            }
            else
            {
                nOffset = p;
                nLength = e - p;
            }
            if (nOffset >= end || nLength < 1)
                return false;
            const int32_t v = SkipSpace(base, end, q + 1);
            if (v < 0)
                return false;
            vOffset = v;
            vEnd = IsOpener(base[v]) ? ContainerEnd(base, end, v, deep) : ValueEnd(base, end, v);
        }
        else
        {
            vOffset = p;
            vEnd = e;
        }
    }
    if (vEnd <= vOffset)
    {
        tooDeep = deep;
        return false;
    }
    text = base;
    textLength = length;
    nameOffset = nOffset;
    nameLength = nLength;
    valueOffset = vOffset;
    valueLength = vEnd - vOffset;
    tooDeep = deep;
    return !tooDeep;
}

bool JsonReader::IsObject() const
{
    return IsValid() && valueLength >= 1 && text[valueOffset] == '{';
}

bool JsonReader::IsArray() const
{
    return IsValid() && valueLength >= 1 && text[valueOffset] == '[';
}

bool JsonReader::HasName() const
{
    return IsValid() && nameOffset >= 0 && nameLength >= 1;
}

bool JsonReader::FirstChild(JsonReader& child) const
{
    if (!IsValid() || valueLength < 1 || !IsOpener(text[valueOffset]))
        return false;
    const uint32_t start = static_cast<uint32_t>(valueOffset) + 1;
    if (start >= textLength)
        return false;
    const char* base = text + start;
    const uint32_t length = textLength - start;
    return child.ParseAt(base, length, 0);
}

JsonReader JsonReader::FirstChild() const
{
    JsonReader child;
    if (!FirstChild(child))
        child.Clear();
    return child;
}

int JsonReader::NextSiblingStep(JsonReader& next) const
{
    if (!IsValid())
        return 0;
    const int32_t end = ScanEnd(textLength);
    const int32_t after = valueOffset + valueLength;
    const int32_t p = SkipSpace(text, end, after);
    if (p < 0)
        return 0;
    const char c = text[p];
    if (c == ',')
    {
        int32_t r = p + 1;
        while (r < end && (text[r] == ',' || IsBlank(text[r])))
            ++r;
        if (r >= end || text[r] == '\0')
            return 0;
        const char* base = text + r;
        const uint32_t length = textLength - static_cast<uint32_t>(r);
        return next.ParseAt(base, length, 0) ? 1 : 0;
    }
    if (c == '}' || c == ']')
        return 0;
    LogUnexpected(text, end, p);
    return -1;
}

bool JsonReader::NextSibling(JsonReader& next) const
{
    return NextSiblingStep(next) == 1;
}

JsonReader JsonReader::NextSibling() const
{
    JsonReader next;
    if (!NextSibling(next))
        next.Clear();
    return next;
}

// Member lookup with a per-thread memo of the children already walked.
//
// Documents are read by repeated FindMember calls from the same parent, and
// each call would otherwise walk the children again from the first one. The
// memo records every child that a lookup has walked past (where it starts and
// where its name and value lie), so a later lookup in the same container
// compares names against the record and walks on only past its end. The
// result is exactly that of the plain walk: the first child in document order
// whose raw name matches, and the same message when the walk meets an
// unexpected character.
//
// A record is keyed by the container's address and remaining length and by a
// process-wide epoch that every top-level parse advances. The text is
// unchanged while readers made from it are in use, and new text at the same
// address can only be read after parsing it, so a record never outlives its
// text. The memo is fixed storage: lookups never allocate.
namespace
{
constexpr int kIndexSlots = 8;
constexpr int kIndexCapacity = 128;
constexpr uint32_t kBuckets = 256; // power of two, twice the capacity

struct IndexedChild
{
    int32_t base; // the child's base, from the container's opening bracket
    int32_t nameOffset;
    int32_t nameLength;
    int32_t valueOffset;
    int32_t valueLength;
};

enum IndexState : uint8_t
{
    kOpen = 0,   // more children may follow the recorded ones
    kDone,       // the walk ended silently after the last recorded child
    kUnexpected, // the walk ended with the message after the last one
    kFull,       // capacity reached; later children are walked each time
};

struct MemberIndex
{
    const char* container;
    uint32_t length;
    uint64_t epoch;
    int32_t count;
    IndexState state;
    // Open addressing over name hashes: 1 + the index of the first recorded
    // child with that name, 0 for an empty bucket. Later children of the same
    // name are not entered, so a hit is always the first in document order.
    uint8_t buckets[kBuckets];
    IndexedChild children[kIndexCapacity];
};

struct IndexCache
{
    MemberIndex slots[kIndexSlots];
    uint32_t next;
};

// Zero-initialised: every slot starts with a null container.
thread_local IndexCache t_Index;

// Names are short: hashing the first and last eight bytes and the length
// spreads them well enough for a table of 256 buckets.
inline uint32_t NameHash(const char* name, size_t n)
{
    uint64_t a = 0;
    uint64_t b = 0;
    if (n >= 8)
    {
        std::memcpy(&a, name, 8);
        std::memcpy(&b, name + n - 8, 8);
    }
    else if (n >= 4)
    {
        uint32_t x;
        uint32_t y;
        std::memcpy(&x, name, 4);
        std::memcpy(&y, name + n - 4, 4);
        a = x;
        b = y;
    }
    else if (n > 0)
    {
        a = static_cast<uint8_t>(name[0]) | (uint32_t(static_cast<uint8_t>(name[n / 2])) << 8) |
            (uint32_t(static_cast<uint8_t>(name[n - 1])) << 16);
    }
    uint64_t h = (a * 0x9E3779B97F4A7C15ull) ^ (b * 0xC2B2AE3D27D4EB4Full) ^ n;
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    return static_cast<uint32_t>(h >> 32);
}

MemberIndex& IndexFor(const char* container, uint32_t length)
{
    const uint64_t epoch = g_ParseEpoch.load(std::memory_order_relaxed);
    IndexCache& cache = t_Index;
    for (MemberIndex& slot : cache.slots)
        if (slot.container == container && slot.length == length && slot.epoch == epoch)
            return slot;
    MemberIndex& slot = cache.slots[cache.next++ % kIndexSlots];
    slot.container = container;
    slot.length = length;
    slot.epoch = epoch;
    slot.count = 0;
    slot.state = kOpen;
    std::memset(slot.buckets, 0, sizeof slot.buckets);
    return slot;
}

inline bool SameName(const MemberIndex& index, const IndexedChild& c, const char* name, size_t n)
{
    return static_cast<size_t>(c.nameLength) == n &&
           std::memcmp(index.container + c.base + c.nameOffset, name, n) == 0;
}

// The first recorded child named `name`, or -1.
int32_t FindRecorded(const MemberIndex& index, const char* name, size_t n, uint32_t hash)
{
    for (uint32_t b = hash & (kBuckets - 1);; b = (b + 1) & (kBuckets - 1))
    {
        const uint8_t entry = index.buckets[b];
        if (entry == 0)
            return -1;
        if (SameName(index, index.children[entry - 1], name, n))
            return entry - 1;
    }
}
} // namespace

struct JsonMemberLookup
{
    static void Record(MemberIndex& index, const char* container, const JsonReader& child)
    {
        if (index.state != kOpen)
            return;
        if (index.count == kIndexCapacity)
        {
            index.state = kFull;
            return;
        }
        const int32_t i = index.count++;
        IndexedChild& c = index.children[i];
        c.base = static_cast<int32_t>(child.text - container);
        c.nameOffset = child.nameOffset;
        c.nameLength = child.nameLength;
        c.valueOffset = child.valueOffset;
        c.valueLength = child.valueLength;
        if (child.nameLength < 1)
            return;
        const char* name = child.text + child.nameOffset;
        const size_t n = static_cast<size_t>(child.nameLength);
        for (uint32_t b = NameHash(name, n) & (kBuckets - 1);; b = (b + 1) & (kBuckets - 1))
        {
            const uint8_t entry = index.buckets[b];
            if (entry == 0)
            {
                index.buckets[b] = static_cast<uint8_t>(i + 1);
                return;
            }
            if (SameName(index, index.children[entry - 1], name, n))
                return; // an earlier child has this name and wins
        }
    }

    static void Rebuild(const MemberIndex& index, int32_t i, JsonReader& child)
    {
        const IndexedChild& c = index.children[i];
        child.text = index.container + c.base;
        child.textLength = index.length - static_cast<uint32_t>(c.base);
        child.nameOffset = c.nameOffset;
        child.nameLength = c.nameLength;
        child.valueOffset = c.valueOffset;
        child.valueLength = c.valueLength;
        child.tooDeep = false;
    }

    static bool Matches(const JsonReader& child, const char* name, size_t n)
    {
        return child.nameLength > 0 && static_cast<size_t>(child.nameLength) == n &&
               std::memcmp(child.text + child.nameOffset, name, n) == 0;
    }

    static bool Find(const JsonReader& parent, const char* name, JsonReader& member)
    {
        if (!name || !parent.IsValid() || parent.valueLength < 1 ||
            !IsOpener(parent.text[parent.valueOffset]))
            return false;
        const size_t n = std::strlen(name);
        const char* container = parent.text + parent.valueOffset;
        MemberIndex& index =
            IndexFor(container, parent.textLength - static_cast<uint32_t>(parent.valueOffset));

        if (n > 0 && index.count > 0)
        {
            const int32_t i = FindRecorded(index, name, n, NameHash(name, n));
            if (i >= 0)
            {
                Rebuild(index, i, member);
                return true;
            }
        }

        JsonReader child;
        if (index.count == 0)
        {
            if (index.state == kDone || !parent.FirstChild(child))
            {
                index.state = kDone;
                return false;
            }
            Record(index, container, child);
            if (Matches(child, name, n))
            {
                member = child;
                return true;
            }
        }
        else
        {
            if (index.state == kDone)
                return false;
            // When full, the walk goes on past the last record each time.
            Rebuild(index, index.count - 1, child);
        }
        for (;;)
        {
            const int step = child.NextSiblingStep(child);
            if (step != 1)
            {
                if (index.state == kOpen)
                    index.state = step == 0 ? kDone : kUnexpected;
                return false;
            }
            Record(index, container, child);
            if (Matches(child, name, n))
            {
                member = child;
                return true;
            }
        }
    }
};

bool JsonReader::FindMember(const char* name, JsonReader& member) const
{
    return JsonMemberLookup::Find(*this, name, member);
}

JsonReader JsonReader::FindMember(const char* name) const
{
    JsonReader member;
    if (!FindMember(name, member))
        member.Clear();
    return member;
}

bool JsonReader::HasMember(const char* name) const
{
    JsonReader member;
    return FindMember(name, member);
}

const char* JsonReader::ValueText(int32_t& length) const
{
    if (!IsValid())
    {
        length = 0;
        return "";
    }
    if (text[valueOffset] == '"')
    {
        length = valueLength - 2;
        return text + valueOffset + 1;
    }
    length = valueLength;
    return text + valueOffset;
}

bool JsonReader::Unescape(int32_t rawOffset, int32_t rawLength, char* buffer, uint32_t size,
                          uint32_t& written) const
{
    if (!buffer || rawLength < 0 || size <= static_cast<uint32_t>(rawLength))
        return false;
    const char* raw = text + rawOffset;
    // An escape at the end of the raw text may look at what follows it in the
    // document, never past the document's end.
    const int32_t available = ScanEnd(textLength) - rawOffset;
    uint32_t out = 0;
    int32_t i = 0;
    while (i < rawLength)
    {
        // Copy the run up to the next backslash in one go.
        const void* slash = std::memchr(raw + i, '\\', static_cast<size_t>(rawLength - i));
        const int32_t run =
            slash ? static_cast<int32_t>(static_cast<const char*>(slash) - (raw + i)) : rawLength - i;
        std::memcpy(buffer + out, raw + i, static_cast<size_t>(run));
        out += static_cast<uint32_t>(run);
        i += run;
        if (i >= rawLength)
            break;
        uint32_t cp = 0;
        const int32_t used = DecodeEscape(raw + i + 1, available - (i + 1), cp);
        char bytes[4];
        const uint32_t n = EncodeUtf8(cp, bytes);
        // An escape never yields more bytes than it takes; stay inside anyway.
        if (out + n >= size)
            return false;
        std::memcpy(buffer + out, bytes, n);
        out += n;
        i += 1 + used;
    }
    buffer[out] = '\0';
    written = out;
    return true;
}

bool JsonReader::GetName(char* buffer, uint32_t size) const
{
    if (!HasName())
        return false;
    uint32_t written = 0;
    return Unescape(nameOffset, nameLength, buffer, size, written);
}

bool JsonReader::GetString(char* buffer, uint32_t size) const
{
    uint32_t written = 0;
    return GetString(buffer, size, written);
}

bool JsonReader::GetString(char* buffer, uint32_t size, uint32_t& written) const
{
    if (!IsValid())
        return false;
    int32_t length = 0;
    const char* value = ValueText(length);
    uint32_t count = 0;
    if (!Unescape(static_cast<int32_t>(value - text), length, buffer, size, count))
        return false;
    written = count;
    return true;
}

bool JsonReader::GetString(std::string& out) const
{
    if (!IsValid())
        return false;
    int32_t length = 0;
    ValueText(length);
    const size_t size = static_cast<size_t>(length) + 1;
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[size]);
    if (!buffer)
        return false;
    uint32_t written = 0;
    if (!GetString(buffer.get(), static_cast<uint32_t>(size), written))
        return false;
    try
    {
        out.assign(buffer.get(), std::strlen(buffer.get()));
    }
    catch (...)
    {
        return false;
    }
    return true;
}

bool JsonReader::GetRawString(char* buffer, uint32_t size) const
{
    int32_t length = 0;
    const char* value = ValueText(length);
    if (!buffer || size <= static_cast<uint32_t>(length))
        return false;
    std::memcpy(buffer, value, static_cast<size_t>(length));
    buffer[length] = '\0';
    return true;
}

bool JsonReader::GetRawString(std::string& out) const
{
    int32_t length = 0;
    const char* value = ValueText(length);
    try
    {
        out.assign(value, static_cast<size_t>(length));
    }
    catch (...)
    {
        out.clear();
    }
    return true;
}

int32_t JsonReader::GetValueLength() const
{
    int32_t length = 0;
    ValueText(length);
    return length;
}

const char* JsonReader::GetValueText(const char* name, int32_t& length) const
{
    if (name && *name)
    {
        JsonReader member;
        if (!FindMember(name, member))
        {
            length = 0;
            return nullptr;
        }
        return member.ValueText(length);
    }
    return ValueText(length);
}

#define KVO_JSON_TYPED_READ(Method, Type, Convert)                                                           \
    bool JsonReader::Method(Type& value) const                                                               \
    {                                                                                                        \
        int32_t length = 0;                                                                                  \
        const char* t = ValueText(length);                                                                   \
        return Convert(t, length, value);                                                                    \
    }

KVO_JSON_TYPED_READ(GetInt8, int8_t, TextToInt8)
KVO_JSON_TYPED_READ(GetInt16, int16_t, TextToInt16)
KVO_JSON_TYPED_READ(GetInt32, int32_t, TextToInt32)
KVO_JSON_TYPED_READ(GetInt64, int64_t, TextToInt64)
KVO_JSON_TYPED_READ(GetUInt8, uint8_t, TextToUInt8)
KVO_JSON_TYPED_READ(GetUInt16, uint16_t, TextToUInt16)
KVO_JSON_TYPED_READ(GetUInt32, uint32_t, TextToUInt32)
KVO_JSON_TYPED_READ(GetUInt64, uint64_t, TextToUInt64)
KVO_JSON_TYPED_READ(GetBool, bool, TextToBool)
#undef KVO_JSON_TYPED_READ

bool JsonReader::IsNull() const
{
    int32_t length = 0;
    const char* t = ValueText(length);
    return TextIsNull(t, length);
}

bool JsonReader::NameEquals(const char* other, bool rejectNull) const
{
    if (!other || !HasName())
        return false;
    const size_t n = std::strlen(other);
    if (n != static_cast<size_t>(nameLength) || std::memcmp(text + nameOffset, other, n) != 0)
        return false;
    return !(rejectNull && IsNull());
}

bool JsonReader::ValueEquals(const char* other, bool rejectNull) const
{
    if (!other || !IsValid())
        return false;
    int32_t length = 0;
    const char* t = ValueText(length);
    const size_t n = std::strlen(other);
    if (n != static_cast<size_t>(length) || std::memcmp(t, other, n) != 0)
        return false;
    return !(rejectNull && IsNull());
}

bool JsonReader::AsDocument(JsonReader& document) const
{
    if (!IsValid())
        return false;
    const char* base = text + valueOffset;
    const uint32_t length = textLength - static_cast<uint32_t>(valueOffset);
    document.Parse(base, length);
    return true;
}

int32_t JsonReader::GetBase64Length() const
{
    int32_t length = 0;
    const char* t = ValueText(length);
    while (length > 0 && t[length - 1] == '=')
        --length;
    return static_cast<int32_t>(static_cast<int64_t>(length) * 6 / 8);
}

bool JsonReader::GetString(const char* name, char* buffer, uint32_t size) const
{
    JsonReader member;
    return FindMember(name, member) && member.GetString(buffer, size);
}

bool JsonReader::GetString(const char* name, std::string& out) const
{
    JsonReader member;
    return FindMember(name, member) && member.GetString(out);
}

bool JsonReader::GetRawString(const char* name, char* buffer, uint32_t size) const
{
    JsonReader member;
    return FindMember(name, member) && member.GetRawString(buffer, size);
}

int32_t JsonReader::GetValueLength(const char* name) const
{
    JsonReader member;
    return FindMember(name, member) ? member.GetValueLength() : -1;
}

int32_t JsonReader::GetBase64Length(const char* name) const
{
    JsonReader member;
    return FindMember(name, member) ? member.GetBase64Length() : -1;
}

bool JsonReader::AsDocument(const char* name, JsonReader& document) const
{
    JsonReader member;
    return FindMember(name, member) && member.AsDocument(document);
}

#define KVO_JSON_NAMED_READ(Method, Type)                                                                    \
    bool JsonReader::Method(const char* name, Type& value) const                                             \
    {                                                                                                        \
        JsonReader member;                                                                                   \
        return FindMember(name, member) && member.Method(value);                                             \
    }

KVO_JSON_NAMED_READ(GetInt16, int16_t)
KVO_JSON_NAMED_READ(GetInt32, int32_t)
KVO_JSON_NAMED_READ(GetInt64, int64_t)
KVO_JSON_NAMED_READ(GetUInt16, uint16_t)
KVO_JSON_NAMED_READ(GetUInt32, uint32_t)
KVO_JSON_NAMED_READ(GetUInt64, uint64_t)
KVO_JSON_NAMED_READ(GetBool, bool)
#undef KVO_JSON_NAMED_READ
