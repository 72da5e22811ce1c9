// Field descriptors: one per key of the metadata document, each parsing the
// member's JSON value into a value of its kind.
#pragma once

#include "metadata/metadata_enums.h"
#include "metadata/metadata_lists.h"

#include <cstdint>
#include <string>
#include <vector>

class JsonReader;

// Elements of a text list are at most this many bytes; a longer one fails the list.
constexpr uint32_t kListElementMaxLength = 259;

// What a descriptor holds; tells the descriptor classes below apart.
enum class FieldKind : uint8_t
{
    Int,
    Bool,
    Text,
    Texts,
    AppIds,
    Prerequisites,
    Enum,
    Platforms,
};

// The `use` column of metadata_fields.def: whether the load needs the key,
// and the value `kvotool new` writes for it (nullptr: none).
#define KVO_USE_REQUIRED(use) KVO_USE_REQUIRED_##use
#define KVO_USE_REQUIRED_Optional false
#define KVO_USE_REQUIRED_Required(example) true
#define KVO_USE_REQUIRED_Suggested(example) false
#define KVO_USE_EXAMPLE(use) KVO_USE_EXAMPLE_##use
#define KVO_USE_EXAMPLE_Optional nullptr
#define KVO_USE_EXAMPLE_Required(example) example
#define KVO_USE_EXAMPLE_Suggested(example) example
// The `access` column: `code` when the row has a getter of its own.
#define KVO_IF_GETTER(access, ...) KVO_IF_GETTER_##access(__VA_ARGS__)
#define KVO_IF_GETTER_Read(...) __VA_ARGS__
#define KVO_IF_GETTER_Own(...) __VA_ARGS__
#define KVO_IF_GETTER_None(...)

class MetadataField
{
public:
    explicit MetadataField(const char* name, bool required = false)
        : m_Name(name), m_Required(required ? 1 : 0)
    {
    }
    virtual ~MetadataField() = default;
    MetadataField(const MetadataField&) = delete;
    MetadataField& operator=(const MetadataField&) = delete;

    // Value back to the kind's reset value, not read.
    virtual void Reset() = 0;
    // Converts and stores the member's value; false when it does not parse.
    virtual bool ParseValue(const JsonReader& member) = 0;
    virtual const char* GetName() const { return m_Name; }
    virtual uint32_t IsRequired() const { return m_Required; }
    virtual bool IsPresent() const { return m_Present; }
    virtual void MarkPresent() { m_Present = true; }
    virtual FieldKind Kind() const = 0;

    void SetRequired(bool required) { m_Required = required ? 1 : 0; }
    // Set when the loaded document is known to lack this key, so that a
    // getter need not search the document again; cleared by Reset.
    void MarkAbsent() { m_Absent = true; }
    bool IsKnownAbsent() const { return m_Absent; }

protected:
    void ClearPresent()
    {
        m_Present = false;
        m_Absent = false;
    }

private:
    const char* m_Name;
    uint32_t m_Required;
    bool m_Present = false;
    bool m_Absent = false;
};

// A number or a flag: T as the reader's READ gives it; a reset gives T's zero.
template <FieldKind K, class T>
class ScalarField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override
    {
        m_Value = T();
        ClearPresent();
    }
    bool ParseValue(const JsonReader& member) override;
    static constexpr FieldKind kKind = K;
    FieldKind Kind() const override { return kKind; }
    // What the getter hands out.
    using Handed = T;
    Handed Get() const { return m_Value; }
    T Value() const { return m_Value; }
    void SetValue(T value) { m_Value = value; }

private:
    T m_Value = T();
};

using IntField = ScalarField<FieldKind::Int, int32_t>;
using BoolField = ScalarField<FieldKind::Bool, bool>;
template <>
bool IntField::ParseValue(const JsonReader& member);
template <>
bool BoolField::ParseValue(const JsonReader& member);

class TextField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    static constexpr FieldKind kKind = FieldKind::Text;
    FieldKind Kind() const override { return kKind; }
    // What the getter hands out.
    using Handed = const char*;
    Handed Get() const { return m_Value.c_str(); }
    const std::string& Value() const { return m_Value; }

private:
    std::string m_Value;
};

// A list field: the JSON array's elements, each read as the list's kind reads
// one (a text of at most kListElementMaxLength bytes, an app id, a
// prerequisite record); a value that is not an array reads as an empty list.
template <FieldKind K, class List>
class ListField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override
    {
        m_Value.Clear();
        ClearPresent();
    }
    bool ParseValue(const JsonReader& member) override;
    static constexpr FieldKind kKind = K;
    FieldKind Kind() const override { return kKind; }
    // What the getter hands out.
    using Handed = const List&;
    Handed Get() const { return m_Value; }
    const List& Value() const { return m_Value; }

private:
    // Appends one element; false when it is not of the list's kind.
    bool AppendElement(const JsonReader& element);
    List m_Value;
};

using TextListField = ListField<FieldKind::Texts, TextList>;
using AppIdListField = ListField<FieldKind::AppIds, AppIdList>;
using PrerequisiteListField = ListField<FieldKind::Prerequisites, PrerequisiteList>;
template <>
bool TextListField::AppendElement(const JsonReader& element);
template <>
bool AppIdListField::AppendElement(const JsonReader& element);
template <>
bool PrerequisiteListField::AppendElement(const JsonReader& element);
extern template class ListField<FieldKind::Texts, TextList>;
extern template class ListField<FieldKind::AppIds, AppIdList>;
extern template class ListField<FieldKind::Prerequisites, PrerequisiteList>;

// One key of a `customPrerequisites` record, as the record parse reads it.
struct PrerequisiteKey
{
    const char* name;
    // Absent, it fails the record and with it the list.
    bool required;
    // Where a text key is stored; null for the exit-code list.
    std::string PrerequisiteRecord::*text;
};

constexpr uint32_t kPrerequisiteKeyCount = 7;
// Every key of a record, in the order the parse reads them: the required
// texts, the optional texts, then the exit-code list. The parse is driven by
// this table, so it is the one list of the record's keys.
extern const PrerequisiteKey kPrerequisiteKeys[kPrerequisiteKeyCount];

// A keyword of one enumeration table, held as its u32 value.
class EnumField final : public MetadataField
{
public:
    using Lookup = bool (*)(const char* text, uint32_t& value);
    EnumField(const char* name, bool required, Lookup lookup, uint32_t resetValue)
        : MetadataField(name, required), m_Lookup(lookup), m_ResetValue(resetValue), m_Value(resetValue)
    {
    }
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    static constexpr FieldKind kKind = FieldKind::Enum;
    FieldKind Kind() const override { return kKind; }
    // What the getter hands out.
    using Handed = uint32_t;
    Handed Get() const { return m_Value; }
    uint32_t Value() const { return m_Value; }

private:
    Lookup m_Lookup;
    uint32_t m_ResetValue;
    uint32_t m_Value;
};

// The `platforms` object: one feature mask per GamePlatform.
class PlatformFeaturesField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    static constexpr FieldKind kKind = FieldKind::Platforms;
    FieldKind Kind() const override { return kKind; }
    uint32_t Mask(uint32_t platform) const { return platform < GamePlatform::Count ? m_Masks[platform] : 0; }

private:
    uint32_t m_Masks[GamePlatform::Count] = {};
};

// Every descriptor of the document, in key-table order.
class MetadataFieldTable
{
public:
    MetadataFieldTable();
    MetadataFieldTable(const MetadataFieldTable&) = delete;
    MetadataFieldTable& operator=(const MetadataFieldTable&) = delete;

    // Every descriptor to its kind's reset value, not read.
    void Reset();
    // As built: reset, then the start values that differ from the reset values.
    void ResetToStart();

    const std::vector<MetadataField*>& Header() const { return m_Header; }
    const std::vector<MetadataField*>& Main() const { return m_Main; }

#define KVO_FIELD(Type, member, key, use, Getter, access) Type member{key, KVO_USE_REQUIRED(use)};
#define KVO_ENUM(member, key, use, Getter, access, Enumeration, start, description)                          \
    EnumField member{key, KVO_USE_REQUIRED(use), Find##Enumeration, start};
#include "metadata/metadata_fields.def"

private:
    std::vector<MetadataField*> m_Header;
    std::vector<MetadataField*> m_Main;
};
