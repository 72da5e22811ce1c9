#include "metadata/metadata_fields.h"

#include "json/json_reader.h"

#include <memory>

const PrerequisiteKey kPrerequisiteKeys[kPrerequisiteKeyCount] = {
    {"prerequisiteId", true, &PrerequisiteRecord::prerequisiteId},
    {"friendlyName", true, &PrerequisiteRecord::friendlyName},
    {"version", true, &PrerequisiteRecord::version},
    {"executableName", true, &PrerequisiteRecord::executableName},
    {"commandline", false, &PrerequisiteRecord::commandline},
    {"locKey", false, &PrerequisiteRecord::locKey},
    {"ignoreExitCodes", false, nullptr},
};

namespace
{
// Longer texts do not fit the element buffer and fail the list.
constexpr uint32_t kListElementBuffer = kListElementMaxLength + 1;
constexpr uint32_t kPlatformNameBuffer = 32;

bool ParseExitCodes(const JsonReader& element, const char* name, NumberList& codes)
{
    JsonReader list;
    JsonReader code;
    if (!element.FindMember(name, list) || !list.FirstChild(code))
        return true;
    do
    {
        int32_t value = 0;
        if (!code.GetInt32(value))
            return false;
        codes.Append(static_cast<uint32_t>(value));
    } while (code.NextSibling(code));
    return true;
}

// Reads the keys in table order: the first required one that is absent fails
// the record; optional texts are taken where present.
bool ParsePrerequisite(const JsonReader& element, PrerequisiteRecord& record)
{
    for (const PrerequisiteKey& key : kPrerequisiteKeys)
    {
        if (!key.text)
        {
            if (!ParseExitCodes(element, key.name, record.ignoreExitCodes))
                return false;
        }
        else if (!element.GetString(key.name, record.*key.text) && key.required)
        {
            return false;
        }
    }
    return true;
}
} // namespace

template <>
bool IntField::ParseValue(const JsonReader& member)
{
    return member.GetInt32(m_Value);
}

template <>
bool BoolField::ParseValue(const JsonReader& member)
{
    return member.GetBool(m_Value);
}
void TextField::Reset()
{
    m_Value.clear();
    ClearPresent();
}

bool TextField::ParseValue(const JsonReader& member)
{
    return member.GetString(m_Value);
}

template <FieldKind K, class List>
bool ListField<K, List>::ParseValue(const JsonReader& member)
{
    m_Value.Clear();
    JsonReader element;
    if (!member.FirstChild(element))
        return true; // empty array, or not a container at all
    do
    {
        if (!AppendElement(element))
            return false;
    } while (element.NextSibling(element));
    return true;
}

template <>
bool TextListField::AppendElement(const JsonReader& element)
{
    char buffer[kListElementBuffer];
    if (!element.GetString(buffer, sizeof buffer))
        return false;
    m_Value.Append(buffer);
    return true;
}

template <>
bool AppIdListField::AppendElement(const JsonReader& element)
{
    uint64_t id = 0;
    if (!element.GetUInt64(id))
        return false;
    m_Value.Append(id);
    return true;
}

template <>
bool PrerequisiteListField::AppendElement(const JsonReader& element)
{
    auto record = std::make_unique<PrerequisiteRecord>();
    if (!ParsePrerequisite(element, *record))
        return false;
    m_Value.Append(std::move(record));
    return true;
}

template class ListField<FieldKind::Texts, TextList>;
template class ListField<FieldKind::AppIds, AppIdList>;
template class ListField<FieldKind::Prerequisites, PrerequisiteList>;

void EnumField::Reset()
{
    m_Value = m_ResetValue;
    ClearPresent();
}

bool EnumField::ParseValue(const JsonReader& member)
{
    std::string keyword;
    if (!member.GetString(keyword))
        return false;
    uint32_t value = 0;
    if (!m_Lookup(keyword.c_str(), value))
        return false;
    m_Value = value;
    return true;
}

void PlatformFeaturesField::Reset()
{
    for (uint32_t& mask : m_Masks)
        mask = 0;
    ClearPresent();
}

bool PlatformFeaturesField::ParseValue(const JsonReader& member)
{
    // `default` is the mask every platform starts from.
    uint32_t base = 0;
    JsonReader platform;
    if (member.FindMember(GamePlatformKeyword(GamePlatform::Default), platform) &&
        !ParseFeatureFlags(platform, base))
        return false;
    for (uint32_t& mask : m_Masks)
        mask = base;

    if (!member.FirstChild(platform))
        return false;
    do
    {
        char name[kPlatformNameBuffer];
        uint32_t index = 0;
        if (!platform.GetName(name, sizeof name) || !FindGamePlatform(name, index))
            return false;
        if (index != GamePlatform::Default && !ParseFeatureFlags(platform, m_Masks[index]))
            return false;
    } while (platform.NextSibling(platform));
    return true;
}

MetadataFieldTable::MetadataFieldTable()
    : m_Main{
#define KVO_FIELD(Type, member, key, use, Getter, access) &member,
#include "metadata/metadata_fields.def"
      }
{
    // The first row is the header.
    m_Header.push_back(m_Main.front());
    m_Main.erase(m_Main.begin());
    ResetToStart();
}

void MetadataFieldTable::Reset()
{
    for (MetadataField* field : m_Header)
        field->Reset();
    for (MetadataField* field : m_Main)
        field->Reset();
}

void MetadataFieldTable::ResetToStart()
{
    Reset();
    // Enumerations start at their reset value; numbers and flags may not.
#define KVO_INT(member, key, use, Getter, access, start, minimum, maximum, description)                      \
    member.SetValue(start);
#define KVO_BOOL(member, key, use, Getter, access, start, description) member.SetValue(start);
#include "metadata/metadata_fields.def"
}
