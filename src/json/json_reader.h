// Read access to a JSON document, or to its relaxed "equals" form, without
// building a tree. A JsonReader designates one element (optional name plus
// value) of a text that the caller keeps alive and unchanged; navigation
// rescans the text from the element's position and never allocates.
//
// Accepted text: names are quoted strings or bare tokens followed by ':' or
// '='; values are containers ({...} or [...]), quoted strings or bare tokens
// (numbers, words; not checked until a typed read converts them). Children
// are separated by commas. The text ends at its length or its first NUL.
#pragma once

#include <cstdint>
#include <string>

class JsonReader
{
public:
    // Plain data, copied by value; the reader never owns the text.
    const char* text = nullptr; // base of this element; null when empty
    uint32_t textLength = 0;    // bytes from the base to the end of the document
    int32_t nameOffset = -1;    // first name character (after a quote); -1: no name
    int32_t nameLength = -1;    // without quotes; -1: no name
    int32_t valueOffset = -1;   // '{', '[', the opening quote or the token's start
    int32_t valueLength = -1;   // brackets and quotes included
    bool tooDeep = false;       // the last parse met a container nested too deeply

    JsonReader() = default;
    JsonReader(const char* documentText, uint32_t length);

    // Locates the first element of a document; trailing text is ignored.
    bool Parse(const char* documentText, uint32_t length);
    void Clear();

    bool IsValid() const { return text != nullptr; }
    bool IsObject() const;
    bool IsArray() const;
    bool HasName() const;

    bool FirstChild(JsonReader& child) const;
    JsonReader FirstChild() const;
    // `next` may be this reader itself.
    bool NextSibling(JsonReader& next) const;
    JsonReader NextSibling() const;
    // The first child whose raw name equals `name` (byte for byte).
    bool FindMember(const char* name, JsonReader& member) const;
    JsonReader FindMember(const char* name) const;
    bool HasMember(const char* name) const;

    // Unescaped name or value text plus NUL; false when the buffer is not
    // larger than the raw text.
    bool GetName(char* buffer, uint32_t size) const;
    bool GetString(char* buffer, uint32_t size) const;
    bool GetString(char* buffer, uint32_t size, uint32_t& written) const;
    bool GetString(std::string& out) const;
    // The value text as it stands in the document.
    bool GetRawString(char* buffer, uint32_t size) const;
    bool GetRawString(std::string& out) const;
    int32_t GetValueLength() const;
    // The value text of the named member, or of this element when name is
    // null or empty. Null and 0 when the member is missing.
    const char* GetValueText(const char* name, int32_t& length) const;
    const char* GetValueText(int32_t& length) const { return GetValueText(nullptr, length); }

    bool GetInt8(int8_t& value) const;
    bool GetInt16(int16_t& value) const;
    bool GetInt32(int32_t& value) const;
    bool GetInt64(int64_t& value) const;
    bool GetUInt8(uint8_t& value) const;
    bool GetUInt16(uint16_t& value) const;
    bool GetUInt32(uint32_t& value) const;
    bool GetUInt64(uint64_t& value) const;
    bool GetFloat(float& value) const;
    bool GetDouble(double& value) const;
    bool GetBool(bool& value) const;

    bool IsNull() const;
    bool NameEquals(const char* other, bool rejectNull) const;
    bool ValueEquals(const char* other, bool rejectNull) const;
    // The value (without its name) parsed as a document of its own.
    bool AsDocument(JsonReader& document) const;
    int32_t GetBase64Length() const;

    // By member name: FindMember, then the operation on the member found.
    // A missing member fails (false, or -1 for the lengths).
    bool GetString(const char* name, char* buffer, uint32_t size) const;
    bool GetString(const char* name, std::string& out) const;
    bool GetRawString(const char* name, char* buffer, uint32_t size) const;
    int32_t GetValueLength(const char* name) const;
    int32_t GetBase64Length(const char* name) const;
    bool AsDocument(const char* name, JsonReader& document) const;
    bool GetInt16(const char* name, int16_t& value) const;
    bool GetInt32(const char* name, int32_t& value) const;
    bool GetInt64(const char* name, int64_t& value) const;
    bool GetUInt16(const char* name, uint16_t& value) const;
    bool GetUInt32(const char* name, uint32_t& value) const;
    bool GetUInt64(const char* name, uint64_t& value) const;
    bool GetFloat(const char* name, float& value) const;
    bool GetDouble(const char* name, double& value) const;
    bool GetBool(const char* name, bool& value) const;

private:
    // The element parse at `start` of a text of `length` bytes.
    bool ParseAt(const char* base, uint32_t length, int32_t start);
    // NextSibling telling apart a silent end (0) from an unexpected
    // character (-1, logged); 1 when `next` was parsed.
    int NextSiblingStep(JsonReader& next) const;
    friend struct JsonMemberLookup;
    // Value text (quotes of a quoted string removed); "" and 0 when empty.
    const char* ValueText(int32_t& length) const;
    bool Unescape(int32_t rawOffset, int32_t rawLength, char* buffer, uint32_t size, uint32_t& written) const;
};
