#include "json/json_writer.h"

#include "json/json_text.h"
#include "log/stub_log.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

namespace
{

constexpr int32_t kMaxLength = 0x7FFFFFFF;
constexpr int kScratchSize = JsonWriter::MaxValueLength + 1;
constexpr int kDocumentHeadSize = 128;
constexpr int kDocumentLineSize = 256;

// Formats into a fixed scratch area; -1 when the result would not fit. (The
// va_list form has its own name: on Windows va_list is a char pointer, and a
// text argument would pick that overload.)
int VFormatInto(char* scratch, int size, const char* format, va_list args)
{
    const int n = vsnprintf(scratch, static_cast<size_t>(size), format, args);
    if (n < 0 || n >= size)
        return -1;
    return n;
}

int FormatInto(char* scratch, int size, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const int n = VFormatInto(scratch, size, format, args);
    va_end(args);
    return n;
}

} // namespace

JsonWriter::JsonWriter() = default;

JsonWriter::JsonWriter(char* buffer, int32_t capacity, bool equalsSyntax)
{
    Init(buffer, capacity, equalsSyntax);
}

JsonWriter::~JsonWriter()
{
    ReleaseGrowable();
}

void JsonWriter::ReleaseGrowable()
{
    if (m_OwnsGrowable)
        delete m_Growable;
    m_Growable = nullptr;
    m_OwnsGrowable = false;
}

void JsonWriter::Reset()
{
    m_ContainerBits = 0;
    m_Depth = 0;
    m_Length = 0;
    m_Options = 0;
    m_State = 0;
    if (m_Buffer == nullptr && m_Growable == nullptr)
        m_State |= MeasureOnly;
    if (m_Buffer != nullptr && m_Capacity > 0)
        m_Buffer[0] = '\0';
}

void JsonWriter::Init(char* buffer, int32_t capacity, bool equalsSyntax)
{
    ReleaseGrowable();
    m_Buffer = buffer;
    m_Capacity = buffer != nullptr && capacity > 0 ? capacity : 0;
    m_EqualsSyntax = equalsSyntax ? 1 : 0;
    Reset();
}

void JsonWriter::InitGrowable(uint32_t initialCapacity)
{
    ReleaseGrowable();
    m_Buffer = nullptr;
    m_Capacity = 0;
    m_EqualsSyntax = 0;
    // Room for the NUL is always there, so the text stays terminated.
    size_t size = initialCapacity == 0 ? 1 : initialCapacity;
    if (size > static_cast<size_t>(kMaxLength))
        size = static_cast<size_t>(kMaxLength);
    try
    {
        m_Growable = new std::vector<char>(size, '\0');
        m_OwnsGrowable = true;
        m_Buffer = m_Growable->data();
        m_Capacity = static_cast<int32_t>(m_Growable->size());
    }
    catch (const std::exception&)
    {
        ReleaseGrowable();
        m_Buffer = nullptr;
        m_Capacity = 0;
    }
    Reset();
    if (m_Growable == nullptr)
    {
        // Out of memory: neither measuring nor writing, every write fails.
        m_State = Failed;
    }
}

void JsonWriter::ClearText()
{
    m_Length = 0;
    if (m_Buffer != nullptr && m_Capacity > 0)
        m_Buffer[0] = '\0';
    m_State &= static_cast<uint8_t>(~Failed);
}

int32_t JsonWriter::Available() const
{
    if (m_State & MeasureOnly)
        return kMaxLength;
    const int32_t free = m_Capacity - m_Length - 1;
    return free > 0 ? free : 0;
}

void JsonWriter::SetPretty(bool on)
{
    m_Options = on ? (m_Options | Pretty) : (m_Options & ~Pretty);
}

void JsonWriter::SetEscapeUnicode(bool on)
{
    m_Options = on ? (m_Options | EscapeUnicode) : (m_Options & ~EscapeUnicode);
}

bool JsonWriter::NeedsSeparatorAfter(char c) const
{
    switch (c)
    {
    case '{':
    case '\t':
    case '\n':
    case '\r':
    case ',':
        return false;
    case '[':
        return m_EqualsSyntax != 0;
    default:
        return true;
    }
}

void JsonWriter::AfterWrite(char last)
{
    if (NeedsSeparatorAfter(last))
        m_State |= NeedComma;
    else
        m_State &= static_cast<uint8_t>(~NeedComma);
}

// Makes room for `needed` more bytes and the NUL in the owned vector, within
// the 256 KiB limit. Grows geometrically so a long document costs linear
// time, but never refuses a write whose text still fits under the limit.
bool JsonWriter::Grow(int32_t needed)
{
    if (m_Growable == nullptr)
        return false;
    const uint64_t current = m_Growable->size();
    const uint64_t wanted = static_cast<uint64_t>(m_Length) + static_cast<uint64_t>(needed) + 1;
    if (wanted <= current)
        return true;
    if (wanted > MaxGrowableSize)
        return false;
    uint64_t target = current * 2;
    if (target > MaxGrowableSize)
        target = MaxGrowableSize;
    if (target < wanted)
        target = wanted;
    try
    {
        m_Growable->resize(static_cast<size_t>(target), '\0');
    }
    catch (const std::exception&)
    {
        return false;
    }
    m_Buffer = m_Growable->data();
    m_Capacity = static_cast<int32_t>(m_Growable->size());
    return true;
}

bool JsonWriter::Fits(int32_t length)
{
    if (m_State & MeasureOnly)
        return m_Length <= kMaxLength - length;
    if (Available() < length)
        Grow(length);
    return Available() >= length;
}

bool JsonWriter::WriteRaw(const char* data, int32_t length)
{
    if (m_State & Failed)
        return false;
    if (length <= 0)
        return true;
    if (data == nullptr)
    {
        m_State |= Failed;
        return false;
    }
    if (!Fits(length))
    {
        StubLog::Printf("Failed to WriteRaw() - Available(%d) < len(%d).", Available(), length);
        m_State |= Failed;
        return false;
    }
    if (!(m_State & MeasureOnly))
    {
        memcpy(m_Buffer + m_Length, data, static_cast<size_t>(length));
        m_Buffer[m_Length + length] = '\0';
    }
    AfterWrite(data[length - 1]);
    m_Length += length;
    return true;
}

bool JsonWriter::WriteRaw(const char* text)
{
    if (m_State & Failed)
        return false;
    if (text == nullptr)
        return true;
    const size_t n = strlen(text);
    if (n > static_cast<size_t>(kMaxLength))
    {
        StubLog::Printf("Failed to WriteRaw() - Available(%d) < len(%d).", Available(), kMaxLength);
        m_State |= Failed;
        return false;
    }
    return WriteRaw(text, static_cast<int32_t>(n));
}

bool JsonWriter::WriteRaw(char c)
{
    if (m_State & Failed)
        return false;
    if (!Fits(1))
    {
        StubLog::Printf("Failed to WriteRaw() - Available(%d) <= 0.", Available());
        m_State |= Failed;
        return false;
    }
    if (!(m_State & MeasureOnly))
    {
        m_Buffer[m_Length] = c;
        m_Buffer[m_Length + 1] = '\0';
    }
    AfterWrite(c);
    ++m_Length;
    return true;
}

bool JsonWriter::WriteIndent(int32_t tabs)
{
    if (!WriteRaw('\n'))
        return false;
    for (int32_t i = 0; i < tabs; ++i)
        if (!WriteRaw('\t'))
            return false;
    return true;
}

bool JsonWriter::NameAllowed(const char* name) const
{
    if (name != nullptr)
        return !IsArray();
    // Unnamed elements: anywhere in the equals syntax, only outside objects in JSON.
    return m_EqualsSyntax != 0 || !IsObject();
}

bool JsonWriter::WriteElementHead(const char* name, bool failOnRefusal)
{
    if (!NameAllowed(name))
    {
        if (failOnRefusal)
            m_State |= Failed;
        return false;
    }
    if (m_State & Failed)
        return false;
    if ((m_State & NeedComma) && !WriteRaw(','))
        return false;
    if ((m_Options & Pretty) && m_Depth > 0 && !WriteIndent(m_Depth))
        return false;
    if (name == nullptr)
        return true;
    if (m_EqualsSyntax)
        return WriteEscaped(name) && WriteRaw('=');
    return WriteRaw('"') && WriteEscaped(name) && WriteRaw('"') && WriteRaw(':');
}

bool JsonWriter::WriteEscapedQuotedIf(bool quote, const char* text, int32_t length)
{
    return (!quote || WriteRaw('"')) && WriteEscaped(text, length) && (!quote || WriteRaw('"'));
}

bool JsonWriter::WriteEscaped(const char* text)
{
    if (text == nullptr)
        return !(m_State & Failed);
    const size_t n = strlen(text);
    return WriteEscaped(text, n > static_cast<size_t>(kMaxLength) ? kMaxLength : static_cast<int32_t>(n));
}

bool JsonWriter::WriteEscaped(const char* text, int32_t length)
{
    if (m_State & Failed)
        return false;
    int32_t i = 0;
    while (i < length)
    {
        // Bytes that need nothing go out in one piece.
        int32_t run = i;
        while (run < length)
        {
            const unsigned char b = static_cast<unsigned char>(text[run]);
            if (NeedsEscape(b) || IsControl(b) || ((m_Options & EscapeUnicode) && IsHighByte(b)))
                break;
            ++run;
        }
        if (run > i)
        {
            if (Fits(run - i))
            {
                if (!WriteRaw(text + i, run - i))
                    return false;
            }
            else
            {
                // The run does not fit as a whole: keep the bytes that do and
                // fail on the first one that does not, as a byte-wise writer would.
                for (; i < run; ++i)
                    if (!WriteRaw(text[i]))
                        return false;
            }
        }
        i = run;
        if (i >= length)
            break;

        const unsigned char b = static_cast<unsigned char>(text[i]);
        char escape[16];
        int n = 0;
        if (NeedsEscape(b))
        {
            char letter = static_cast<char>(b);
            switch (b)
            {
            case '\b':
                letter = 'b';
                break;
            case '\f':
                letter = 'f';
                break;
            case '\n':
                letter = 'n';
                break;
            case '\r':
                letter = 'r';
                break;
            case '\t':
                letter = 't';
                break;
            default:
                break; // the double quote and the backslash stand for themselves
            }
            escape[0] = '\\';
            escape[1] = letter;
            n = 2;
            ++i;
        }
        else if ((m_Options & EscapeUnicode) && IsHighByte(b))
        {
            int32_t position = i;
            const uint32_t cp = DecodeUtf8(text, length, position);
            i = position > i ? position : i + 1;
            n = FormatInto(escape, sizeof escape, "\\u%.4hX", static_cast<unsigned short>(cp & 0xFFFF));
        }
        else
        {
            n = FormatInto(escape, sizeof escape, "\\x%hhX", static_cast<unsigned char>(b));
            ++i;
        }
        if (n <= 0 || !WriteRaw(escape, n))
        {
            m_State |= Failed;
            return false;
        }
    }
    return !(m_State & Failed);
}

bool JsonWriter::Open(const char* name, int32_t* position, bool object)
{
    if (m_Depth >= MaxDepth)
    {
        if (object)
            StubLog::Printf("Failed to Begin() - m_Depth(%d) + 1 > %d.", m_Depth, MaxDepth);
        else
            StubLog::Printf("Failed to BeginArray() '%s' - m_Depth(%d) + 1 > %d.", name ? name : "", m_Depth,
                            MaxDepth);
        m_State |= Failed;
        return false;
    }
    if (position != nullptr)
        *position = m_Length;
    if (!(m_State & Failed))
    {
        const char* opener = object || m_EqualsSyntax ? "{" : "[";
        if (WriteElementHead(name, true))
            WriteEscaped(opener, 1);
    }
    if (m_State & Failed)
        return false;
    m_ContainerBits = (m_ContainerBits << 1) | (object ? 1u : 0u);
    ++m_Depth;
    return true;
}

bool JsonWriter::Begin(const char* name, int32_t* position)
{
    return Open(name, position, true);
}

bool JsonWriter::BeginArray(const char* name, int32_t* position)
{
    return Open(name, position, false);
}

bool JsonWriter::End()
{
    if (m_Depth <= 0)
    {
        StubLog::Printf("Failed to End() - m_Depth(%d) must be > 0.", m_Depth);
        m_State |= Failed;
        return false;
    }
    if ((m_Options & Pretty) && !(m_State & Failed))
        WriteIndent(m_Depth - 1);
    const char closer = IsObject() || m_EqualsSyntax ? '}' : ']';
    if (!WriteRaw(closer))
        return false;
    --m_Depth;
    m_ContainerBits >>= 1;
    return true;
}

bool JsonWriter::Rollback(int32_t position)
{
    if (position < 0 || position > m_Length)
        return false;
    if (!(m_State & MeasureOnly) && position < m_Length)
    {
        // Brackets inside strings are counted too; positions come from Begin,
        // whose cut text starts with the container it opened.
        int32_t count = 0;
        for (int32_t i = position; i < m_Length; ++i)
        {
            const char c = m_Buffer[i];
            if (c == '{' || (c == '[' && !m_EqualsSyntax))
                --count;
            else if (c == '}' || (c == ']' && !m_EqualsSyntax))
                ++count;
        }
        // A positive count would reopen containers whose kinds are forgotten.
        if (count > 0 || m_Depth + count < 0)
            return false;
        m_State &= static_cast<uint8_t>(~Failed);
        m_Depth += count;
        m_ContainerBits = -count >= 32 ? 0u : (m_ContainerBits >> -count);
        m_Length = position;
        m_Buffer[position] = '\0';
        if (position > 0 && NeedsSeparatorAfter(m_Buffer[position - 1]))
            m_State |= NeedComma;
        else
            m_State &= static_cast<uint8_t>(~NeedComma);
        return true;
    }
    m_State &= static_cast<uint8_t>(~Failed);
    return true;
}

bool JsonWriter::WriteScalar(const char* name, const char* text, int length, bool quoteInJson)
{
    if (!WriteElementHead(name, true))
        return false;
    const bool quote = quoteInJson && !m_EqualsSyntax;
    if (!WriteEscapedQuotedIf(quote, text, length))
        return false;
    return !(m_State & Failed);
}

bool JsonWriter::WriteFormattedV(const char* name, const char* format, va_list args)
{
    if (format == nullptr)
    {
        m_State |= Failed;
        return false;
    }
    char scratch[kScratchSize];
    const int n = VFormatInto(scratch, sizeof scratch, format, args);
    if (n < 0)
    {
        // The naming rule is checked first, as for any value.
        if (WriteElementHead(name, true))
        {
            StubLog::Printf("Failed to WriteFormatted() - value longer than %d bytes.", MaxValueLength);
            m_State |= Failed;
        }
        return false;
    }
    return WriteScalar(name, scratch, n, false);
}

bool JsonWriter::Write(const char* name, int32_t value)
{
    return WriteFormatted(name, "%d", static_cast<int>(value));
}

bool JsonWriter::Write(const char* name, int64_t value)
{
    return WriteFormatted(name, "%lld", static_cast<long long>(value));
}

bool JsonWriter::Write(const char* name, uint32_t value)
{
    return WriteFormatted(name, "%u", static_cast<unsigned>(value));
}

bool JsonWriter::Write(const char* name, uint64_t value)
{
    return WriteFormatted(name, "%llu", static_cast<unsigned long long>(value));
}

bool JsonWriter::Write(const char* name, float value)
{
    return Write(name, value, FloatWriteFormat);
}

bool JsonWriter::Write(const char* name, float value, const char* format)
{
    return WriteFormatted(name, format, static_cast<double>(value));
}

bool JsonWriter::Write(const char* name, double value)
{
    return WriteFormatted(name, DoubleWriteFormat, value);
}

bool JsonWriter::Write(const char* name, bool value)
{
    return value ? WriteScalar(name, "true", 4, false) : WriteScalar(name, "false", 5, false);
}

bool JsonWriter::WriteHex(const char* name, uint32_t value)
{
    char scratch[32];
    const int n = FormatInto(scratch, sizeof scratch, "0x%X", static_cast<unsigned>(value));
    return WriteScalar(name, scratch, n, true);
}

bool JsonWriter::WriteHex(const char* name, uint64_t value)
{
    char scratch[32];
    const int n = FormatInto(scratch, sizeof scratch, "0x%llX", static_cast<unsigned long long>(value));
    return WriteScalar(name, scratch, n, true);
}

bool JsonWriter::WriteString(const char* name, const char* text)
{
    if (text == nullptr || !NameAllowed(name))
        return false;
    if (!WriteElementHead(name, false))
        return false;
    const size_t size = strlen(text);
    if (size > static_cast<size_t>(kMaxLength))
    {
        m_State |= Failed;
        return false;
    }
    const int32_t length = static_cast<int32_t>(size);
    bool quote = !m_EqualsSyntax;
    for (int32_t i = 0; i < length && !quote; ++i)
    {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        quote = IsStructural(c) || IsSpace(c);
    }
    return WriteEscapedQuotedIf(quote, text, length);
}

bool JsonWriter::WriteFormatted(const char* name, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const bool ok = WriteFormattedV(name, format, args);
    va_end(args);
    return ok;
}

bool JsonWriter::WriteRawValue(const char* name, const char* text)
{
    if (text == nullptr)
    {
        m_State |= Failed;
        return false;
    }
    const size_t n = strnlen(text, static_cast<size_t>(MaxValueLength) + 1);
    if (!WriteElementHead(name, true))
        return false;
    if (n > static_cast<size_t>(MaxValueLength))
    {
        StubLog::Printf("Failed to WriteRawValue() - value longer than %d bytes.", MaxValueLength);
        m_State |= Failed;
        return false;
    }
    return WriteRaw(text, static_cast<int32_t>(n));
}

bool JsonWriter::WriteBinary(const char* name, const void* data, uint32_t size)
{
    if (size == 0)
        return true;
    if (!NameAllowed(name))
        return false;
    const char* shownName = name ? name : "";
    const bool json = !m_EqualsSyntax;
    bool headOk = data != nullptr && WriteElementHead(name, false);
    if (headOk && json)
        headOk = WriteRaw('"');
    // Base64 of this many bytes no longer has a 32-bit length.
    const uint32_t maxData = (static_cast<uint32_t>(kMaxLength) / 4u) * 3u - 3u;
    if (!headOk || size > maxData)
    {
        StubLog::Printf("Failed to WriteBinary() - '%s'.", shownName);
        m_State |= Failed;
        return false;
    }
    const int32_t encodedChars = static_cast<int32_t>(Base64EncodedSize(size) - 1);
    if (m_State & MeasureOnly)
    {
        if (m_Length > kMaxLength - encodedChars)
        {
            StubLog::Printf("Failed to WriteBinary() - '%s'.", shownName);
            m_State |= Failed;
            return false;
        }
        m_Length += encodedChars;
    }
    else
    {
        const int32_t available = Available();
        uint32_t written = 0;
        if (available <= 0 ||
            !Base64Encode(static_cast<const unsigned char*>(data), size, m_Buffer + m_Length,
                          static_cast<uint32_t>(available), &written) ||
            written == 0)
        {
            // Base64Encode clears the area it was given; keep the text terminated.
            if (m_Buffer != nullptr && m_Length < m_Capacity)
                m_Buffer[m_Length] = '\0';
            StubLog::Printf("Failed to WriteBinary() - '%s'.", shownName);
            m_State |= Failed;
            return false;
        }
        m_Length += static_cast<int32_t>(written - 1);
    }
    // Base64 ends in a letter, digit or '=': the next element needs a comma.
    m_State |= NeedComma;
    if (json)
        return WriteRaw('"');
    return true;
}

bool JsonWriter::WriteDocument(const char* name, const JsonWriter& document)
{
    if (name == nullptr && !m_EqualsSyntax && IsObject())
    {
        StubLog::Printf("JSON elements must have names");
        m_State |= Failed;
    }
    else if (name != nullptr && IsArray())
    {
        StubLog::Printf("Array elements can't have names");
        m_State |= Failed;
    }
    if (m_State & Failed)
        return false;
    // Our own text cannot be appended to itself, and a writer without a
    // buffer has no text to give.
    if (&document == this || document.m_Buffer == nullptr)
    {
        m_State |= Failed;
        return false;
    }

    char head[kDocumentHeadSize];
    int headLength = 0;
    if (m_State & NeedComma)
        head[headLength++] = ',';
    if ((m_Options & Pretty) && m_Depth > 0)
    {
        head[headLength++] = '\n';
        for (int32_t i = 0; i < m_Depth; ++i)
            head[headLength++] = '\t';
    }
    head[headLength] = '\0';

    char line[kDocumentLineSize];
    int lineLength = 0;
    if (name != nullptr)
        lineLength = m_EqualsSyntax ? FormatInto(line, sizeof line, "%s%s=", head, name)
                                    : FormatInto(line, sizeof line, "%s\"%s\":", head, name);
    else
        lineLength = FormatInto(line, sizeof line, "%s", head);
    if (lineLength < 0)
    {
        StubLog::Printf("Failed to WriteDocument() - name longer than %d bytes.", kDocumentLineSize - 1);
        m_State |= Failed;
        return false;
    }
    if (!WriteRaw(line, lineLength))
        return false;
    const void* nul = memchr(document.m_Buffer, '\0', static_cast<size_t>(document.m_Length));
    const int32_t textLength = nul != nullptr
                                   ? static_cast<int32_t>(static_cast<const char*>(nul) - document.m_Buffer)
                                   : document.m_Length;
    return WriteRaw(document.m_Buffer, textLength);
}
