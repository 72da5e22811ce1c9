// Writes structured text element by element, in JSON or in the equals syntax
// that the reader also accepts ({a=1,list={1,2}}).
//
// Output goes into a caller's buffer, into a vector the writer owns and grows
// (up to 256 KiB), or nowhere at all (measure-only: a null buffer), which
// gives the exact length a buffer would need. Every failure sets a sticky
// flag: a caller may write a whole document and test HasFailed() once.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <vector>

class JsonWriter
{
public:
    // Option bits.
    static constexpr uint32_t Pretty = 1;        // line feed and tabs before each nested element
    static constexpr uint32_t EscapeUnicode = 2; // non-ASCII characters as \u escapes

    // State bits.
    static constexpr uint8_t Failed = 1;      // sticky failure
    static constexpr uint8_t NeedComma = 2;   // the next element needs a ',' first
    static constexpr uint8_t MeasureOnly = 4; // no buffer: lengths are counted, nothing stored

    static constexpr int32_t MaxDepth = 32;
    // The growable vector never grows beyond this many bytes.
    static constexpr uint32_t MaxGrowableSize = 262144;
    // Formatted values and raw values are limited to this many bytes.
    static constexpr int32_t MaxValueLength = 1023;

    // Unattached: every write fails until Init or InitGrowable.
    JsonWriter();
    JsonWriter(char* buffer, int32_t capacity, bool equalsSyntax);
    ~JsonWriter();
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    // Attaches a caller's buffer (kept NUL-terminated); a null buffer selects
    // measure-only. Resets nesting, length, state and options.
    void Init(char* buffer, int32_t capacity, bool equalsSyntax);
    // Writes JSON into a vector owned by the writer, initially of this size.
    void InitGrowable(uint32_t initialCapacity);
    // Empties the text and clears Failed; nesting, options and NeedComma stay.
    void ClearText();
    // Cuts the text back to a position returned by Begin or BeginArray and
    // closes the containers opened in the cut text (brackets are counted
    // without regard to strings). Clears Failed. Measuring keeps no text to
    // count, so there it only clears Failed. False, changing nothing, when
    // the position is out of range or the cut would cross an End.
    bool Rollback(int32_t position);

    void SetPretty(bool on);
    void SetEscapeUnicode(bool on);
    bool HasFailed() const { return (m_State & Failed) != 0; }
    int32_t GetDepth() const { return m_Depth; }
    int32_t GetLength() const { return m_Length; }
    // The NUL-terminated text; null in measure-only mode.
    const char* GetBuffer() const { return m_Buffer; }
    int32_t Available() const;
    bool IsEqualsSyntax() const { return m_EqualsSyntax != 0; }

    // Every writer takes the element's name first; null means unnamed. Names
    // are refused inside arrays, and in JSON required inside objects.
    bool Begin(const char* name, int32_t* position = nullptr);
    bool BeginArray(const char* name, int32_t* position = nullptr);
    bool End();

    bool Write(const char* name, int32_t value);
    bool Write(const char* name, int64_t value);
    bool Write(const char* name, uint32_t value);
    bool Write(const char* name, uint64_t value);
    bool Write(const char* name, float value);
    bool Write(const char* name, float value, const char* format);
    bool Write(const char* name, double value);
    bool Write(const char* name, bool value);
    bool Write(const char* name, const char* text) { return WriteString(name, text); }
    bool Write(const char* name, const JsonWriter& document) { return WriteDocument(name, document); }
    // Hexadecimal with a 0x prefix: quoted in JSON, bare in the equals syntax.
    bool WriteHex(const char* name, uint32_t value);
    bool WriteHex(const char* name, uint64_t value);
    // A missing text or a refused name gives false without setting Failed.
    bool WriteString(const char* name, const char* text);
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    bool
    WriteFormatted(const char* name, const char* format, ...);
    // The text as it stands: neither escaped nor quoted.
    bool WriteRawValue(const char* name, const char* text);
    // The data as Base64; size 0 writes nothing at all. The encoding goes
    // straight into the free space: a growable vector is not grown for it.
    bool WriteBinary(const char* name, const void* data, uint32_t size);
    // Another writer's text, as it stands, as this element's value.
    bool WriteDocument(const char* name, const JsonWriter& document);

    // Appends without escaping or structure.
    bool WriteRaw(const char* text);
    bool WriteRaw(const char* data, int32_t length);
    bool WriteRaw(char c);

private:
    bool IsObject() const
    {
        return m_Depth >= 1 && (m_ContainerBits & 1u) != 0;
    }
    bool IsArray() const
    {
        return m_Depth >= 1 && (m_ContainerBits & 1u) == 0;
    }
    bool NameAllowed(const char* name) const;
    void Reset();
    void ReleaseGrowable();
    bool Grow(int32_t needed);
    // Whether `length` more bytes fit, growing the vector when there is one.
    bool Fits(int32_t length);
    void AfterWrite(char last);
    bool NeedsSeparatorAfter(char c) const;
    bool WriteIndent(int32_t tabs);
    bool WriteElementHead(const char* name, bool failOnRefusal);
    bool WriteEscaped(const char* text, int32_t length);
    bool WriteEscaped(const char* text);
    // TEXT escaped, between double quotes when QUOTE.
    bool WriteEscapedQuotedIf(bool quote, const char* text, int32_t length);
    bool WriteScalar(const char* name, const char* text, int length, bool quoteInJson);
    bool WriteFormattedV(const char* name, const char* format, va_list args);
    bool Open(const char* name, int32_t* position, bool object);

    uint32_t m_ContainerBits = 0;
    int32_t m_Depth = 0;
    char* m_Buffer = nullptr;
    int32_t m_Length = 0;
    int32_t m_Capacity = 0;
    std::vector<char>* m_Growable = nullptr;
    bool m_OwnsGrowable = false;
    int32_t m_EqualsSyntax = 0;
    uint32_t m_Options = 0;
    uint8_t m_State = 0;
};
