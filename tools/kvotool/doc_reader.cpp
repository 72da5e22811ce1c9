#include "doc_reader.h"

#include <vector>

namespace kvotool
{
size_t ValueOffset(const JsonReader& element, const std::string& text)
{
    int32_t length = 0;
    const char* p = element.GetValueText(nullptr, length);
    if (!p || p < text.data() || p > text.data() + text.size())
        return std::string::npos;
    size_t offset = static_cast<size_t>(p - text.data());
    if (offset > 0 && text[offset - 1] == '"')
        --offset;
    return offset;
}

size_t NameOffset(const JsonReader& element, const std::string& text)
{
    if (!element.HasName() || !element.text || element.text < text.data() ||
        element.text > text.data() + text.size())
        return ValueOffset(element, text);
    size_t offset = static_cast<size_t>(element.text - text.data()) + static_cast<size_t>(element.nameOffset);
    if (offset > 0 && offset <= text.size() && text[offset - 1] == '"')
        --offset;
    return offset;
}

std::string RawValue(const JsonReader& element)
{
    int32_t length = 0;
    const char* p = element.GetValueText(nullptr, length);
    return p && length > 0 ? std::string(p, static_cast<size_t>(length)) : std::string();
}

bool IsQuoted(const JsonReader& element, const std::string& text)
{
    if (element.IsObject() || element.IsArray())
        return false;
    int32_t length = 0;
    const char* p = element.GetValueText(nullptr, length);
    // The value text of a quoted string starts after its quote; a bare token
    // follows a separator or a blank, never a quote.
    return p && p > text.data() && p <= text.data() + text.size() && p[-1] == '"';
}

bool IsListLike(const JsonReader& element)
{
    if (element.IsArray())
        return true;
    if (!element.IsObject())
        return false;
    JsonReader child;
    for (bool more = element.FirstChild(child); more; more = child.NextSibling(child))
        if (child.HasName())
            return false;
    return true;
}

std::string MemberName(const JsonReader& element)
{
    if (!element.HasName())
        return std::string();
    std::vector<char> buffer(256);
    while (!element.GetName(buffer.data(), static_cast<uint32_t>(buffer.size())))
    {
        if (buffer.size() > (1u << 24))
            return std::string();
        buffer.resize(buffer.size() * 4);
    }
    return std::string(buffer.data());
}

std::string Shorten(const std::string& value, size_t max)
{
    std::string out;
    for (char c : value)
        out += (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) ? '?' : c;
    if (out.size() > max)
    {
        size_t cut = max;
        // Never cut inside a UTF-8 sequence.
        while (cut > 0 && (static_cast<unsigned char>(out[cut]) & 0xC0) == 0x80)
            --cut;
        out = out.substr(0, cut) + "...";
    }
    return out;
}

std::string Describe(const JsonReader& element, const std::string& text)
{
    if (element.IsObject())
        return "an object";
    if (element.IsArray())
        return "an array";
    std::string raw = RawValue(element);
    if (IsQuoted(element, text))
        return "the text \"" + Shorten(raw) + "\"";
    if (raw == "true" || raw == "false" || raw == "null")
        return raw;
    if (!raw.empty() && (raw[0] == '-' || raw[0] == '+' || (raw[0] >= '0' && raw[0] <= '9')))
        return "the number " + Shorten(raw);
    return "the bare word " + Shorten(raw);
}
} // namespace kvotool
