#include "doc_check.h"
#include "launch/launcher_switches.h"

#include "doc_log.h"
#include "doc_reader.h"
#include "json/json_validator.h"
#include "metadata/metadata_enums.h"
#include "metadata/metadata_fields.h"
#include "metadata/metadata_status.h"
#include "metadata/title_metadata.h"
#include "suggest.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>

namespace kvotool
{
namespace
{
using KeywordFunction = const char* (*)(uint32_t);

// Offsets of what only a relaxed reader takes, outside strings: commas before
// a closing '}' or ']', and comments ("//" or "/*").
struct RelaxedOnly
{
    std::vector<size_t> trailingCommas;
    std::vector<size_t> comments;
};

RelaxedOnly FindRelaxedOnly(const std::string& text)
{
    RelaxedOnly found;
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i)
    {
        const char c = text[i];
        if (inString)
        {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        }
        else if (c == '"')
            inString = true;
        else if (c == '/' && i + 1 < text.size() && (text[i + 1] == '/' || text[i + 1] == '*'))
        {
            found.comments.push_back(i);
            const size_t end = text[i + 1] == '/' ? text.find('\n', i) : text.find("*/", i + 2);
            i = end == std::string::npos ? text.size() : end;
        }
        else if (c == ',')
        {
            const size_t next = text.find_first_not_of(" \t\r\n", i + 1);
            if (next != std::string::npos && (text[next] == '}' || text[next] == ']'))
                found.trailingCommas.push_back(i);
        }
    }
    return found;
}

// Offset of the first byte that does not start a well-formed UTF-8 sequence
// (no overlong forms, surrogates or values above U+10FFFF), or npos.
size_t FirstInvalidUtf8(const std::string& text)
{
    const auto byte = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    for (size_t i = 0; i < text.size();)
    {
        const unsigned lead = byte(i);
        size_t length = 0;
        unsigned low = 0x80, high = 0xBF; // the allowed range of the second byte
        if (lead < 0x80)
            length = 1;
        else if (lead >= 0xC2 && lead <= 0xDF)
            length = 2;
        else if (lead >= 0xE0 && lead <= 0xEF)
        {
            length = 3;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        }
        else if (lead >= 0xF0 && lead <= 0xF4)
        {
            length = 4;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        }
        else
            return i;
        if (length > 1 && (byte(i + 1) < low || byte(i + 1) > high))
            return i;
        for (size_t k = 2; k < length; ++k)
            if (byte(i + k) < 0x80 || byte(i + k) > 0xBF)
                return i;
        i += length;
    }
    return std::string::npos;
}

std::vector<std::string> Keywords(KeywordFunction keyword, uint32_t count)
{
    std::vector<std::string> words;
    for (uint32_t v = 0; v < count; ++v)
        words.emplace_back(keyword(v));
    return words;
}

std::vector<std::string> PrerequisiteKeyNames()
{
    std::vector<std::string> names;
    for (const PrerequisiteKey& key : kPrerequisiteKeys)
        names.emplace_back(key.name);
    return names;
}

// The feature keywords in ascending bit order, each once.
std::vector<std::string> FeatureKeywords()
{
    QuietLog quiet; // the gaps in the bit table would log "Invalid platform feature ID"
    std::vector<std::string> words;
    for (uint32_t shift = 0; shift < 32; ++shift)
    {
        std::string name = PlatformFeatureName(1u << shift);
        if (!name.empty() && std::find(words.begin(), words.end(), name) == words.end())
            words.push_back(name);
    }
    return words;
}

std::string Joined(const std::vector<std::string>& words)
{
    std::string out;
    for (const auto& w : words)
    {
        if (!out.empty())
            out += ", ";
        out += w.empty() ? "\"\"" : w;
    }
    return out;
}

// Whether an integer's text reads as the number a maker would expect from it:
// plain decimal, or 0x hexadecimal. Anything else (a leading 0 that makes it
// octal, trailing characters, a fraction, an overflow) reads differently.
bool ReadsAsWritten(const std::string& raw, long long value, bool allowSign)
{
    std::string digits = raw;
    bool negative = false;
    if (allowSign && !digits.empty() && (digits[0] == '-' || digits[0] == '+'))
    {
        negative = digits[0] == '-';
        digits.erase(0, 1);
    }
    if (digits.empty())
        return false;
    unsigned long long magnitude = 0;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X'))
    {
        for (size_t i = 2; i < digits.size(); ++i)
            if (!std::isxdigit(static_cast<unsigned char>(digits[i])))
                return false;
        if (digits.size() > 18)
            return false;
        magnitude = std::strtoull(digits.c_str() + 2, nullptr, 16);
    }
    else
    {
        if (digits.size() > 1 && digits[0] == '0')
            return false;
        for (char c : digits)
            if (c < '0' || c > '9')
                return false;
        if (digits.size() > 19)
            return false;
        magnitude = std::strtoull(digits.c_str(), nullptr, 10);
    }
    if (negative && magnitude == 0)
        return value == 0;
    if (negative)
        return value < 0 && static_cast<unsigned long long>(-(value + 1)) + 1 == magnitude;
    return value >= 0 && static_cast<unsigned long long>(value) == magnitude;
}

class Checker
{
public:
    Checker(const std::string& text, DiagnosticList& diags) : m_Text(text), m_Diags(diags) {}

    void Run(const CheckOptions& options);

private:
    // The closest candidate in words for the message; the next item added
    // at a position carries it as its suggestion.
    std::string Suggestion(const std::string& word, const std::vector<std::string>& candidates)
    {
        m_Suggested = ClosestMatch(word, candidates);
        return m_Suggested.empty() ? std::string() : "; did you mean '" + m_Suggested + "'?";
    }
    void AddAtOffset(Severity severity, size_t offset, const std::string& message)
    {
        Diagnostic& d = offset == std::string::npos ? m_Diags.Add(severity, message)
                                                    : m_Diags.AddAt(severity, message, m_Text, offset);
        d.suggestion.swap(m_Suggested);
        m_Suggested.clear();
    }
    void At(Severity severity, const JsonReader& element, const std::string& message)
    {
        AddAtOffset(severity, ValueOffset(element, m_Text), message);
    }
    void NameAt(Severity severity, const JsonReader& element, const std::string& message)
    {
        AddAtOffset(severity, NameOffset(element, m_Text), message);
    }
    void ErrorAt(const JsonReader& e, const std::string& m) { At(Severity::Error, e, m); }
    void WarnAt(const JsonReader& e, const std::string& m) { At(Severity::Warning, e, m); }

    bool Validate(const CheckOptions& options, const std::string& text);
    void CheckRootMembers();
    void CheckFields();
    void ExplainInvalid(MetadataField& field, const JsonReader& member);
    void ExplainSuspicious(MetadataField& field, const JsonReader& member);
    void ExplainPlatforms(const JsonReader& member);
    void ExplainFeatures(const std::string& platform, const JsonReader& object, bool reportErrors);
    void ExplainPrerequisites(const JsonReader& member, bool invalid);
    void CheckCombinations();
    const std::vector<std::string>* KeywordsOf(const MetadataField& field) const;

    const std::string& m_Text;
    DiagnosticList& m_Diags;
    std::string m_Suggested;
    JsonReader m_Root;
    MetadataFieldTable m_Table;
    std::map<std::string, JsonReader> m_Members; // first member of each name
    std::vector<std::string> m_Keys;
    std::vector<std::string> m_Platforms = Keywords(GamePlatformKeyword, GamePlatform::Count);
    // The keywords of every enumeration field of the key table.
    const std::map<const MetadataField*, std::vector<std::string>> m_Keywords = {
#define KVO_ENUM(member, key, use, Getter, access, Enumeration, start, description)                          \
    {&m_Table.member, Keywords(Enumeration##Keyword, Enumeration::Count)},
#include "metadata/metadata_fields.def"
    };
    // Keys read by two descriptors: a member fits one of their forms.
    std::set<std::string> m_SharedKeys;
    std::vector<std::string> m_Features = FeatureKeywords();
};

// Validates TEXT, the document with what is reported already blanked out.
bool Checker::Validate(const CheckOptions& options, const std::string& text)
{
    if (options.equalsSyntax)
        return true;
    TakeLoggedLines();
    bool ok = JsonValidator::Validate(text.c_str(), static_cast<int32_t>(text.size()));
    for (const auto& line : TakeLoggedLines())
    {
        int lineNo = 0, column = 0;
        // The validator's messages carry their own position; lift it into the
        // diagnostic so editors can jump to it.
        if (std::sscanf(line.c_str(), "JSON Validation Error: line %d char %d", &lineNo, &column) != 2)
            column = 0;
        if (column == 0)
            lineNo = 0;
        m_Diags.Add(Severity::Error, line, lineNo, column);
    }
    if (!ok)
        m_Diags.Note("the text is not strict JSON; the stub reads relaxed text too, so the fields are "
                     "checked as it reads them (use --equals for the equals syntax)");
    return ok;
}

void Checker::CheckRootMembers()
{
    std::set<std::string> keySet(m_Keys.begin(), m_Keys.end());
    JsonReader member;
    bool more = m_Root.FirstChild(member);
    TakeLoggedLines();
    while (more)
    {
        const std::string name = MemberName(member);
        // The stub looks members up by their name as written, escapes and all.
        const std::string rawName =
            member.HasName() && member.nameLength > 0
                ? std::string(member.text + member.nameOffset, static_cast<size_t>(member.nameLength))
                : std::string();
        if (!member.HasName())
        {
            WarnAt(member,
                   "an element without a name in the root object is ignored: " + Describe(member, m_Text));
        }
        else if (name[0] == '_' || name[0] == '$')
        {
            // Comments and editor hints such as "$schema": the stub ignores them.
        }
        else if (keySet.count(name) && rawName != name)
        {
            NameAt(Severity::Error, member,
                   "the name '" + name +
                       "' is written with escapes; the stub compares names as written and does not find it");
        }
        else if (!keySet.count(name))
        {
            NameAt(Severity::Error, member,
                   "unknown key '" + name + "'" + Suggestion(name, m_Keys) +
                       " (the stub ignores this member)");
        }
        else if (m_Members.count(name))
        {
            int line, column;
            PositionOf(m_Text, NameOffset(m_Members[name], m_Text), line, column);
            NameAt(Severity::Warning, member,
                   "'" + name + "' appears a second time; the stub reads only the first one (line " +
                       std::to_string(line) + ")");
        }
        if (member.HasName() && rawName == name && !m_Members.count(name))
            m_Members.emplace(name, member);
        const JsonReader current = member;
        more = member.NextSibling(member);
        for (const auto& line : TakeLoggedLines())
        {
            // The reader names the offending character and its offset from the
            // member it stood after; the rest of its line repeats the document.
            char c = 0;
            int offset = -1;
            if (std::sscanf(line.c_str(), "Unexpected character %c at offset:%d", &c, &offset) == 2 &&
                offset >= 0 && current.text >= m_Text.data() && current.text <= m_Text.data() + m_Text.size())
                m_Diags.AddAt(
                    Severity::Error,
                    std::string("unexpected '") + c +
                        "' where a comma or the end of the object belongs: the stub stops reading the "
                        "root object here and does not see the members after it",
                    m_Text, static_cast<size_t>(current.text - m_Text.data()) + static_cast<size_t>(offset));
            else
                m_Diags.Error("the stub stops reading the root object here: " + Shorten(line, 120));
        }
    }
}

const std::vector<std::string>* Checker::KeywordsOf(const MetadataField& field) const
{
    auto it = m_Keywords.find(&field);
    return it == m_Keywords.end() ? nullptr : &it->second;
}

void Checker::ExplainInvalid(MetadataField& field, const JsonReader& member)
{
    const std::string name = field.GetName();
    const std::string got = Describe(member, m_Text);
    switch (field.Kind())
    {
    case FieldKind::Int:
        ErrorAt(member, "'" + name + "' must be an integer; got " + got);
        break;
    case FieldKind::Bool:
        ErrorAt(member, "'" + name + "' must be true or false; got " + got);
        break;
    case FieldKind::Enum:
    {
        const auto* words = KeywordsOf(field);
        std::string value;
        if (member.IsObject() || member.IsArray() || !member.GetString(value))
            ErrorAt(member, "'" + name + "' must be one of " + (words ? Joined(*words) : "its keywords") +
                                "; got " + got);
        else
            ErrorAt(member,
                    "'" + Shorten(value) + "' is not a keyword of '" + name + "'" +
                        (words ? Suggestion(value, *words) + " (valid: " + Joined(*words) + ")" : ""));
        break;
    }
    case FieldKind::Texts:
    {
        JsonReader element;
        bool more = member.FirstChild(element);
        for (uint32_t index = 0; more; ++index, more = element.NextSibling(element))
        {
            std::string value;
            if (!element.GetString(value) || value.size() > kListElementMaxLength)
            {
                ErrorAt(element, "element " + std::to_string(index) + " of '" + name + "' is " +
                                     std::to_string(value.size()) +
                                     " bytes long; list elements may have at most " +
                                     std::to_string(kListElementMaxLength) + " bytes");
                return;
            }
        }
        ErrorAt(member, "'" + name + "' must be an array of texts; got " + got);
        break;
    }
    case FieldKind::AppIds:
    {
        JsonReader element;
        bool more = member.FirstChild(element);
        for (uint32_t index = 0; more; ++index, more = element.NextSibling(element))
        {
            uint64_t id = 0;
            if (!element.GetUInt64(id))
            {
                ErrorAt(element, "element " + std::to_string(index) + " of '" + name +
                                     "' is not an unsigned number: " + Describe(element, m_Text));
                return;
            }
        }
        ErrorAt(member, "'" + name + "' must be an array of unsigned numbers; got " + got);
        break;
    }
    case FieldKind::Prerequisites:
        ExplainPrerequisites(member, true);
        break;
    case FieldKind::Platforms:
        ExplainPlatforms(member);
        break;
    default:
        ErrorAt(member, "'" + name + "' cannot be read: " + got);
        break;
    }
}

void Checker::ExplainPrerequisites(const JsonReader& member, bool invalid)
{
    // The record's keys from the table that the library's own parse reads.
    static const std::vector<std::string> kKeys = PrerequisiteKeyNames();
    JsonReader element;
    bool more = member.FirstChild(element);
    bool reported = false;
    for (uint32_t index = 0; more; ++index, more = element.NextSibling(element))
    {
        const std::string where = "customPrerequisites element " + std::to_string(index);
        JsonReader entry;
        for (bool moreEntries = element.IsObject() && element.FirstChild(entry); moreEntries;
             moreEntries = entry.NextSibling(entry))
        {
            const std::string name = MemberName(entry);
            if (name.empty() || name[0] == '_' || name[0] == '$' ||
                std::find(kKeys.begin(), kKeys.end(), name) != kKeys.end())
                continue;
            NameAt(Severity::Error, entry,
                   where + ": unknown key '" + Shorten(name) + "'" + Suggestion(name, kKeys) +
                       " (the stub ignores this member)");
        }
        if (!invalid)
            continue;
        for (const PrerequisiteKey& key : kPrerequisiteKeys)
        {
            std::string text;
            if (key.text && key.required && !element.GetString(key.name, text))
            {
                ErrorAt(element,
                        where + " lacks '" + key.name + "'" +
                            (element.IsObject() ? "" : " (it is " + Describe(element, m_Text) + ")"));
                reported = true;
            }
            JsonReader codes, code;
            if (key.text || !element.FindMember(key.name, codes))
                continue;
            bool moreCodes = codes.FirstChild(code);
            for (uint32_t k = 0; moreCodes; ++k, moreCodes = code.NextSibling(code))
            {
                int32_t value = 0;
                if (!code.GetInt32(value))
                {
                    ErrorAt(code, where + ": exit code " + std::to_string(k) +
                                      " is not an integer: " + Describe(code, m_Text));
                    reported = true;
                }
            }
        }
    }
    if (invalid && !reported)
        ErrorAt(member, "'customPrerequisites' cannot be read: " + Describe(member, m_Text));
}

void Checker::ExplainFeatures(const std::string& platform, const JsonReader& object, bool reportErrors)
{
    JsonReader feature;
    bool more = object.FirstChild(feature);
    if (!more)
    {
        if (reportErrors)
            ErrorAt(object,
                    "the feature object of platform '" + platform + "' is empty; the stub refuses it");
        return;
    }
    std::set<std::string> seen;
    for (; more; more = feature.NextSibling(feature))
    {
        std::string name = MemberName(feature);
        uint32_t bit = 0;
        bool on = false;
        if (name.empty() || name.size() >= 32 || !FindPlatformFeature(name.c_str(), bit))
        {
            if (reportErrors)
                NameAt(Severity::Error, feature,
                       "unknown feature '" + Shorten(name) + "' of platform '" + platform + "'" +
                           Suggestion(name, m_Features) + " (valid: " + Joined(m_Features) + ")");
            continue;
        }
        if (!feature.GetBool(on))
        {
            if (reportErrors)
                ErrorAt(feature, "feature '" + name + "' of platform '" + platform +
                                     "' must be true or false; got " + Describe(feature, m_Text));
            continue;
        }
        if (!reportErrors)
        {
            if (!seen.insert(name).second)
                WarnAt(feature, "feature '" + name + "' of platform '" + platform +
                                    "' is given again; the later value wins");
            if (name == "RESERVED")
                WarnAt(feature, "feature 'RESERVED' of platform '" + platform + "' sets a reserved bit");
        }
    }
}

void Checker::ExplainPlatforms(const JsonReader& member)
{
    JsonReader platform;
    bool more = member.FirstChild(platform);
    if (!more)
    {
        ErrorAt(member, "'platforms' must be an object with at least one platform; got " +
                            (member.IsObject() ? std::string("an empty object") : Describe(member, m_Text)));
        return;
    }
    for (; more; more = platform.NextSibling(platform))
    {
        std::string name = MemberName(platform);
        uint32_t index = 0;
        if (name.empty() || name.size() >= 32 || !FindGamePlatform(name.c_str(), index))
        {
            NameAt(Severity::Error, platform,
                   "unknown platform '" + Shorten(name) + "' in 'platforms'" + Suggestion(name, m_Platforms) +
                       " (valid: " + Joined(m_Platforms) + ")");
            continue;
        }
        ExplainFeatures(name, platform, true);
    }
}

void Checker::ExplainSuspicious(MetadataField& field, const JsonReader& member)
{
    const std::string name = field.GetName();
    const bool quoted = IsQuoted(member, m_Text);
    // A key read in two forms suits one of them; neither form is suspicious.
    if (m_SharedKeys.count(name) && field.Kind() != FieldKind::Enum)
        return;
    switch (field.Kind())
    {
    case FieldKind::Int:
    {
        const auto* intField = static_cast<const IntField*>(&field);
        std::string raw = RawValue(member);
        const std::string number = std::to_string(intField->Value());
        const std::string asNumber = quoted ? "; the schema wants a number: write " + number : "";
        if (!ReadsAsWritten(raw, intField->Value(), true))
            WarnAt(member,
                   "'" + name + "' is written as '" + Shorten(raw) + "' but reads as " + number + asNumber);
        else if (quoted)
            WarnAt(member, "'" + name + "' is a number written as a text (\"" + Shorten(raw) +
                               "\"); the stub reads " + number + asNumber);
        break;
    }
    case FieldKind::Texts:
        if (IsListLike(member))
            return;
        if (member.IsObject())
            WarnAt(member,
                   "'" + name + "' should be an array; the stub reads the values of the object's members");
        else
        {
            if (quoted)
                m_Suggested = "[\"" + Shorten(RawValue(member)) + "\"]";
            WarnAt(member, "'" + name + "' should be an array of texts; the stub reads " +
                               Describe(member, m_Text) + " as an empty list" +
                               (quoted ? " (write " + m_Suggested + ")" : ""));
        }
        break;
    case FieldKind::AppIds:
    {
        const auto* ids = static_cast<const AppIdListField*>(&field);
        if (!IsListLike(member))
        {
            WarnAt(member, "'" + name + "' should be an array; the stub reads " + Describe(member, m_Text) +
                               (ids->Value().Count() ? " as a list" : " as an empty list"));
            return;
        }
        JsonReader element;
        bool more = member.FirstChild(element);
        for (uint32_t index = 0; more && index < ids->Value().Count();
             ++index, more = element.NextSibling(element))
        {
            const uint64_t id = ids->Value().At(index);
            std::string raw = RawValue(element);
            bool plain = !raw.empty() && raw.find_first_not_of("0123456789") == std::string::npos &&
                         raw.size() <= 20 && std::to_string(id) == raw;
            bool hex = raw.size() > 2 && raw.compare(0, 2, "0x") == 0 && raw.size() <= 18 &&
                       raw.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
            if (!plain && !hex)
                WarnAt(element, "element " + std::to_string(index) + " of '" + name + "' is written as '" +
                                    Shorten(raw) + "' but reads as " + std::to_string(id));
            else if (id == 0)
                WarnAt(element, "element " + std::to_string(index) + " of '" + name + "' is 0");
        }
        break;
    }
    case FieldKind::Text:
        if (member.IsObject() || member.IsArray())
            WarnAt(member, "'" + name + "' should be a text; the stub reads " + Describe(member, m_Text) +
                               " as its JSON text");
        else if (!quoted && RawValue(member) == "null")
            WarnAt(member, "'" + name + "' is null; the stub reads the text 'null'");
        break;
    case FieldKind::Prerequisites:
        ExplainPrerequisites(member, false);
        break;
    case FieldKind::Platforms:
    {
        JsonReader platform;
        for (bool more = member.FirstChild(platform); more; more = platform.NextSibling(platform))
            ExplainFeatures(MemberName(platform), platform, false);
        break;
    }
    default:
        break;
    }
}

void Checker::CheckFields()
{
    std::vector<MetadataField*> fields = m_Table.Header();
    fields.insert(fields.end(), m_Table.Main().begin(), m_Table.Main().end());
    std::set<std::string> explained;
    TakeLoggedLines();
    for (MetadataField* field : fields)
    {
        const std::string name = field->GetName();
        JsonReader member;
        if (!m_Root.FindMember(field->GetName(), member))
        {
            if (field->IsRequired() && explained.insert(name).second)
                m_Diags.Error("required field '" + name + "' is missing");
            continue;
        }
        if (!field->ParseValue(member))
        {
            // Two descriptors read environment and installshieldGuid; one
            // explanation per member is enough.
            if (explained.insert(name).second)
            {
                ExplainInvalid(*field, member);
                if (field->IsRequired())
                    m_Diags.Note("'" + name +
                                 "' is required: the stub refuses the file while it cannot be read");
            }
            continue;
        }
        field->MarkPresent();
        ExplainSuspicious(*field, member);
    }
    TakeLoggedLines();
}

void Checker::CheckCombinations()
{
    const auto& t = m_Table;
    auto fieldDiag = [&](Severity severity, const char* key, const std::string& message)
    {
        auto it = m_Members.find(key);
        if (it != m_Members.end())
            At(severity, it->second, message);
        else if (severity == Severity::Error)
            m_Diags.Error(message);
        else
            m_Diags.Warning(message);
    };
    auto warnField = [&](const char* key, const std::string& message)
    { fieldDiag(Severity::Warning, key, message); };
    auto errorField = [&](const char* key, const std::string& message)
    { fieldDiag(Severity::Error, key, message); };
    if (t.metadataVersion.IsPresent() && t.metadataVersion.Value() < 0)
        warnField("metadataVersion",
                  "'metadataVersion' is negative: the stub then skips reading the other fields "
                  "at load time, so missing required fields do not stop it");
    if (t.gamePlatform.IsPresent() && t.gamePlatform.Value() == GamePlatform::Steam &&
        t.steamAppIds.Value().Count() == 0)
        errorField("gamePlatform",
                   std::string("'gamePlatform' is \"steam\" but ") +
                       (t.steamAppIds.IsPresent() ? "'steamAppIds' is empty" : "'steamAppIds' is missing") +
                       ": the launcher gets no Steam app id, and Steam cannot start the game");
    const bool epicEnabled = t.epicSdkVersion.Value() > 0;
    if (t.gamePlatform.IsPresent() && t.gamePlatform.Value() == GamePlatform::Epic && !epicEnabled)
        warnField("gamePlatform",
                  "'gamePlatform' is \"epic\" but 'epicSdkVersion' is missing or not above 0: "
                  "the stub ignores the Epic settings");
    else if (!epicEnabled)
    {
        for (const TextField* f :
             {&t.epicProductName, &t.epicProductVersion, &t.epicProductId, &t.epicSandboxId,
              &t.epicDeploymentId, &t.epicClientId, &t.epicClientSecret, &t.epicArtifact})
            if (!f->Value().empty())
            {
                warnField(f->GetName(),
                          std::string("'") + f->GetName() +
                              "' is set but 'epicSdkVersion' is missing or not above 0: the stub "
                              "ignores the Epic settings");
                break;
            }
    }
    if (m_Members.count("modAllowList") && m_Members.count("modWhitelist") && t.modAllowList.IsPresent())
        warnField("modWhitelist", "'modWhitelist' is ignored because 'modAllowList' is given");
    if (t.environmentName.IsPresent() && t.environmentName.Value().empty())
        warnField("environment",
                  "'environment' is empty: the launcher gets \"-vexilDomainEnv=\" without a value");
    if (t.crashpadSamplingPercent.IsPresent() &&
        (t.crashpadSamplingPercent.Value() < 0 || t.crashpadSamplingPercent.Value() > 100))
        warnField("crashpadSamplingPercent", "'crashpadSamplingPercent' is " +
                                                 std::to_string(t.crashpadSamplingPercent.Value()) +
                                                 ", not a percentage from 0 to 100");
    auto languages = m_Members.find("languages");
    if (t.languages.IsPresent() && t.languages.Value().Count() == 0 && languages != m_Members.end() &&
        IsListLike(languages->second))
        warnField("languages", "'languages' lists no language");
    // The title id goes unquoted after its switch: a blank, a quote or a
    // control character in it would change the launcher's arguments.
    const char* titleSwitch = t.gamePlatform.IsPresent() ? TitleIdSwitch(t.gamePlatform.Value()) : nullptr;
    if (titleSwitch && t.titleId.IsPresent())
    {
        const std::string id = t.titleId.Value();
        const size_t blank = id.find_first_of(" \t");
        const size_t quote = id.find('"');
        size_t control = std::string::npos;
        for (size_t i = 0; i < id.size() && control == std::string::npos; ++i)
            if (static_cast<unsigned char>(id[i]) < 0x20 || id[i] == 0x7f)
                control = i;
        const size_t first = std::min({blank, quote, control});
        if (first != std::string::npos)
        {
            const std::string given = titleSwitch + id.substr(0, first);
            std::string message = "'titleId' holds ";
            if (first == blank)
            {
                const size_t start = id.find_first_not_of(" \t", blank);
                const std::string extra = start == std::string::npos
                                              ? ""
                                              : id.substr(start, id.find_first_of(" \t", start) - start);
                message += "a blank: the launcher gets " + given +
                           (extra.empty() ? std::string(" cut short there")
                                          : " and \"" + extra + "\" as an argument of its own");
            }
            else if (first == quote)
                message += "a double quote: the launcher gets " + given +
                           " and the quote changes how the rest of its command line is split";
            else
            {
                char code[8];
                std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned char>(id[control]));
                message += std::string("the control character ") + code + ": the launcher gets " + given +
                           " and the rest of the value garbled or as further arguments";
            }
            errorField("titleId", message + " (letters, digits, '-', '_' and '.' are safe)");
        }
    }
    for (const TextField* f : {&t.titleId, &t.friendlyName, &t.principalFileName, &t.appdataFolderName,
                               &t.installFolderRegKey, &t.installFolderRegValueName})
        if (f->IsPresent() && f->Value().empty())
            warnField(f->GetName(), std::string("required field '") + f->GetName() + "' is empty");
}

void Checker::Run(const CheckOptions& options)
{
    // Each phase finds one kind of problem; its findings carry that rule.
    size_t tagged = m_Diags.Items().size();
    auto tag = [&](const char* rule)
    {
        m_Diags.SetRule(tagged, rule);
        tagged = m_Diags.Items().size();
    };
    for (auto* list : {&m_Table.Header(), &m_Table.Main()})
        for (MetadataField* f : *list)
            if (std::find(m_Keys.begin(), m_Keys.end(), f->GetName()) == m_Keys.end())
                m_Keys.emplace_back(f->GetName());
            else
                m_SharedKeys.insert(f->GetName());

    // The stub takes any bytes as text and shows them garbled: a file saved in
    // a legacy code page is an error, at the first byte that is not UTF-8.
    const size_t invalid = FirstInvalidUtf8(m_Text);
    if (invalid != std::string::npos)
    {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02X", static_cast<unsigned char>(m_Text[invalid]));
        AddAtOffset(Severity::Error, invalid,
                    std::string("byte ") + hex + " at offset " + std::to_string(invalid) +
                        " is not UTF-8 (a file saved in a legacy code page such as Latin-1?): players see "
                        "garbled text; save the file as UTF-8");
    }
    tag("invalid-utf8");
    const RelaxedOnly relaxed = options.equalsSyntax ? RelaxedOnly() : FindRelaxedOnly(m_Text);
    if (!relaxed.comments.empty())
    {
        // The stub stops reading at a comment: everything else found after
        // it would only repeat that, so the comments are the report.
        for (size_t at : relaxed.comments)
            AddAtOffset(Severity::Error, at,
                        "a comment: JSON has none, and the stub stops reading the document here and misses "
                        "every member after it (write notes as members whose names start with '_')");
        tag("comment");
        return;
    }
    for (size_t at : relaxed.trailingCommas)
        AddAtOffset(Severity::Warning, at,
                    "a comma after the last element: the stub reads it, strict JSON readers (editors, the "
                    "schema, other tools) refuse it; remove it");
    tag("trailing-comma");
    std::string strict = m_Text;
    for (size_t at : relaxed.trailingCommas)
        strict[at] = ' ';
    Validate(options, strict);
    tag("json-syntax");
    TakeLoggedLines();
    if (!m_Root.Parse(m_Text.c_str(), static_cast<uint32_t>(m_Text.size())))
    {
        m_Diags.Error("the text cannot be read as a document: an unterminated string or container, or "
                      "nesting deeper than 32 levels (BadFormat)");
        TakeLoggedLines();
        tag("document-structure");
        return;
    }
    if (!m_Root.IsObject())
        m_Diags.Error(std::string("the document is ") + Describe(m_Root, m_Text) +
                      ", not an object: the stub finds no field in it");
    tag("document-structure");
    CheckRootMembers();
    tag("root-member");
    CheckFields();
    tag("field-value");
    CheckCombinations();
    tag("field-combination");
}
} // namespace

const char* MetadataStatusName(uint32_t status)
{
    static const char* const kNames[] = {"Ok",         "FieldInvalid",         "NoMetadata",
                                         "ReadFailed", "OptionalFieldMissing", "RequiredFieldMissing",
                                         "BadFormat",  "IndexOutOfRange",      "TooLarge"};
    return status < sizeof kNames / sizeof kNames[0] ? kNames[status] : "unknown status";
}

CheckResult CheckDocument(const InputDocument& doc, const CheckOptions& options, DiagnosticList& diags)
{
    CheckResult result;
    const size_t first = diags.Items().size();
    Checker checker(doc.text, diags);
    checker.Run(options);

    // The verdict that counts: the stub's own load of the same bytes.
    TakeLoggedLines();
    std::unique_ptr<TitleMetadata> metadata(CreateTitleMetadata());
    result.stubStatus = metadata->LoadFromMemory(reinterpret_cast<const uint8_t*>(doc.stubBytes.data()),
                                                 static_cast<uint32_t>(doc.stubBytes.size()));
    result.stubLog = TakeLoggedLines();
    if (result.stubStatus != MetadataStatus::Ok)
    {
        diags.Error(std::string("the launch stub does not load this file: status ") +
                    std::to_string(result.stubStatus) + " (" + MetadataStatusName(result.stubStatus) + ")");
        if (diags.Errors() == 1)
            for (const auto& line : result.stubLog)
                diags.Note(line);
    }
    diags.SetRule(first, "stub-load");
    return result;
}
} // namespace kvotool
