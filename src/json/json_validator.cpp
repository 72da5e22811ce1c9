#include "json/json_validator.h"

#include "json/json_text.h"
#include "log/stub_log.h"

namespace JsonValidator
{
namespace
{

struct ValidatorState
{
    int32_t depth = 0;
    int32_t line = 1;
    int32_t column = 1;
    const char* begin = nullptr;
    const char* cursor = nullptr;
    const char* end = nullptr;
};

const char kEmptyText[] = "";

void InitState(ValidatorState& s, const char* text, int32_t length)
{
    if (text == nullptr)
    {
        text = kEmptyText;
        length = 0;
    }
    if (length < 0)
        length = 0;
    s.begin = s.cursor = text;
    s.end = text + length;
}

// The code point at the cursor and the number of bytes it spans. Nothing at
// or after the end is read: the terminator there would decode as 0 anyway,
// and not reading it keeps a caller's wrong length from leading us astray.
uint32_t DecodeAt(const ValidatorState& s, int32_t& size)
{
    size = 0;
    if (s.cursor >= s.end)
        return 0;
    int32_t position = 0;
    const uint32_t c = DecodeUtf8(s.cursor, static_cast<int32_t>(s.end - s.cursor), position);
    size = position;
    return c;
}

uint32_t Look(const ValidatorState& s)
{
    int32_t size = 0;
    return DecodeAt(s, size);
}

uint32_t Take(ValidatorState& s)
{
    int32_t size = 0;
    uint32_t c = DecodeAt(s, size);
    s.cursor += size;
    if (s.cursor > s.end)
        c = 0;
    if (c == '\n')
    {
        ++s.line;
        s.column = 1;
    }
    else
    {
        ++s.column;
    }
    return c;
}

void SkipBlanks(ValidatorState& s)
{
    while (s.cursor < s.end && IsSpace(Look(s)))
        Take(s);
}

// printf's %c prints the low byte of what it is given, as the messages expect.
int AsChar(uint32_t c)
{
    return static_cast<int>(c & 0xFF);
}

bool ValidateValue(ValidatorState& s);

bool ValidateString(ValidatorState& s)
{
    const uint32_t first = Take(s);
    if (first != '"')
    {
        StubLog::Printf("JSON Validation Error: line %d char %d, expected '%c' and got '%c'", s.line,
                        s.column, '"', AsChar(first));
        return false;
    }
    for (;;)
    {
        const uint32_t c = Take(s);
        if (c == '"')
            return true;
        if (c == '\\')
        {
            const uint32_t e = Take(s);
            if (IsEscapeLetter(e))
                continue;
            if (e != 'u')
            {
                StubLog::Printf(
                    "JSON Validation Error: line %d char %d, found an invalid escape sequence '\\%c' while "
                    "parsing string",
                    s.line, s.column, AsChar(e));
                return false;
            }
            for (int i = 0; i < 4; ++i)
            {
                const uint32_t h = Take(s);
                if (!IsHexDigit(h))
                {
                    StubLog::Printf(
                        "JSON Validation Error: line %d char %d, found an invalid hex digit '%c' while "
                        "parsing unicode escape sequence",
                        s.line, s.column, AsChar(h));
                    return false;
                }
            }
            continue;
        }
        // The end of the text reads as 0, a control character, so an
        // unterminated string ends here too.
        if (IsControl(c))
        {
            StubLog::Printf(
                "JSON Validation Error: line %d char %d, found a control character 0x%x while parsing string",
                s.line, s.column, static_cast<unsigned>(c));
            return false;
        }
    }
}

bool ExpectDigit(ValidatorState& s)
{
    const uint32_t c = Look(s);
    if (IsDigit(c))
        return true;
    StubLog::Printf("JSON Validation Error: line %d char %d, expected a digit and got '%c'", s.line, s.column,
                    AsChar(c));
    return false;
}

void TakeDigits(ValidatorState& s)
{
    while (IsDigit(Look(s)))
        Take(s);
}

bool ValidateNumber(ValidatorState& s)
{
    if (Look(s) == '-')
        Take(s);
    if (Look(s) == '0')
    {
        Take(s);
    }
    else
    {
        if (!ExpectDigit(s))
            return false;
        TakeDigits(s);
    }
    if (Look(s) == '.')
    {
        Take(s);
        if (!ExpectDigit(s))
            return false;
        TakeDigits(s);
    }
    const uint32_t e = Look(s);
    if (e == 'e' || e == 'E')
    {
        Take(s);
        const uint32_t sign = Look(s);
        if (sign == '+' || sign == '-')
            Take(s);
        if (!ExpectDigit(s))
            return false;
        TakeDigits(s);
    }
    return true;
}

bool ValidateLiteral(ValidatorState& s, const char* literal)
{
    for (const char* p = literal; *p != '\0'; ++p)
    {
        const uint32_t c = Take(s);
        if ((c & 0xFF) != static_cast<unsigned char>(*p))
        {
            StubLog::Printf("JSON Validation Error: line %d char %d, reading literal \"%s\" and got '%c'",
                            s.line, s.column, literal, AsChar(c));
            return false;
        }
    }
    return true;
}

void LogDepth()
{
    StubLog::Printf("JSON Validation Error: Depth exceeds maxium (%d)", MaxDepth);
}

void LogObjectExpected(const ValidatorState& s, char expected, uint32_t got)
{
    StubLog::Printf("JSON Validation Error: line %d char %d, reading object, expected '%c' and got '%c'",
                    s.line, s.column, expected, AsChar(got));
}

// A member name, its colon and its value, leaving blanks after the value skipped.
bool ValidateMember(ValidatorState& s)
{
    if (!ValidateString(s))
        return false;
    SkipBlanks(s);
    const uint32_t colon = Take(s);
    if (colon != ':')
    {
        LogObjectExpected(s, ':', colon);
        return false;
    }
    SkipBlanks(s);
    if (!ValidateValue(s))
        return false;
    SkipBlanks(s);
    return true;
}

bool ValidateObject(ValidatorState& s, bool bracesOmitted)
{
    if (s.depth >= MaxDepth)
    {
        LogDepth();
        return false;
    }
    SkipBlanks(s);
    if (!bracesOmitted)
    {
        const uint32_t open = Take(s);
        if (open != '{')
        {
            LogObjectExpected(s, '{', open);
            return false;
        }
        SkipBlanks(s);
    }
    if (Look(s) == '}')
    {
        Take(s);
        return true;
    }
    if (!ValidateMember(s))
        return false;
    while (Look(s) == ',')
    {
        Take(s);
        SkipBlanks(s);
        if (!ValidateMember(s))
            return false;
    }
    if (bracesOmitted)
        return true;
    const uint32_t close = Take(s);
    if (close != '}')
    {
        LogObjectExpected(s, '}', close);
        return false;
    }
    return true;
}

void LogArrayExpected(const ValidatorState& s, char expected, uint32_t got)
{
    StubLog::Printf("JSON Validation Error: line %d char %d, reading array, expected '%c' and got '%c'",
                    s.line, s.column, expected, AsChar(got));
}

bool ValidateArray(ValidatorState& s)
{
    if (s.depth >= MaxDepth)
    {
        LogDepth();
        return false;
    }
    SkipBlanks(s);
    const uint32_t open = Take(s);
    if (open != '[')
    {
        LogArrayExpected(s, '[', open);
        return false;
    }
    SkipBlanks(s);
    if (Look(s) == ']')
    {
        Take(s);
        return true;
    }
    if (!ValidateValue(s))
        return false;
    SkipBlanks(s);
    while (Look(s) == ',')
    {
        Take(s);
        SkipBlanks(s);
        if (!ValidateValue(s))
            return false;
        SkipBlanks(s);
    }
    const uint32_t close = Take(s);
    if (close != ']')
    {
        LogArrayExpected(s, ']', close);
        return false;
    }
    return true;
}

bool ValidateNested(ValidatorState& s, bool object)
{
    ++s.depth;
    const bool ok = object ? ValidateObject(s, false) : ValidateArray(s);
    --s.depth;
    return ok;
}

bool ValidateValue(ValidatorState& s)
{
    const uint32_t c = Look(s);
    switch (c)
    {
    case '"':
        return ValidateString(s);
    case '{':
        return ValidateNested(s, true);
    case '[':
        return ValidateNested(s, false);
    case 't':
        return ValidateLiteral(s, "true");
    case 'f':
        return ValidateLiteral(s, "false");
    case 'n':
        return ValidateLiteral(s, "null");
    default:
        break;
    }
    if (c == '-' || IsDigit(c))
        return ValidateNumber(s);
    StubLog::Printf("JSON Validation Error: line %d char %d, reading a value, found unexpected char '%c'",
                    s.line, s.column, AsChar(c));
    return false;
}

} // namespace

bool Validate(const char* text, int32_t length)
{
    ValidatorState s;
    InitState(s, text, length);
    SkipBlanks(s);
    bool rootOk = true;
    const uint32_t first = Look(s);
    if (first == '{')
    {
        if (!ValidateObject(s, false))
            return false;
    }
    else if (first == '[')
    {
        if (!ValidateArray(s))
            return false;
    }
    else
    {
        StubLog::Printf("JSON Validation Error: line %d, character '%c' was not { or [", s.line,
                        AsChar(first));
        rootOk = false;
    }
    if (s.cursor < s.end)
        SkipBlanks(s);
    if (s.cursor == s.end)
        return rootOk;
    StubLog::Printf("JSON Validation Error: line %d char %d, extra data following end of first object",
                    s.line, s.column);
    // The cursor never passes the terminating NUL, so this stays inside the text.
    StubLog::Printf("JSON Validation Error: extra content = '%s'", s.cursor);
    return false;
}

bool ValidateMembers(const char* text, int32_t length, bool bracesOmitted)
{
    ValidatorState s;
    InitState(s, text, length);
    return ValidateObject(s, bracesOmitted);
}

} // namespace JsonValidator
