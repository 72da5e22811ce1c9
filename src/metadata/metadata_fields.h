// Field descriptors: one per key of the metadata document, each parsing the
// member's JSON value into a value of its kind.
#pragma once

#include "metadata/metadata_enums.h"
#include "metadata/metadata_lists.h"

#include <cstdint>
#include <string>
#include <vector>

class JsonReader;

class MetadataField
{
public:
    explicit MetadataField(const char* name) : m_Name(name) {}
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
    uint32_t m_Required = 0;
    bool m_Present = false;
    bool m_Absent = false;
};

class IntField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    int32_t Value() const { return m_Value; }
    void SetValue(int32_t value) { m_Value = value; }

private:
    int32_t m_Value = 0;
};

class BoolField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    bool Value() const { return m_Value; }
    void SetValue(bool value) { m_Value = value; }

private:
    bool m_Value = false;
};

class TextField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    const std::string& Value() const { return m_Value; }

private:
    std::string m_Value;
};

// Elements are texts shorter than 260 bytes.
class TextListField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    const TextList& Value() const { return m_Value; }

private:
    TextList m_Value;
};

class AppIdListField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    const AppIdList& Value() const { return m_Value; }

private:
    AppIdList m_Value;
};

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

class PrerequisiteListField final : public MetadataField
{
public:
    using MetadataField::MetadataField;
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
    const PrerequisiteList& Value() const { return m_Value; }

private:
    PrerequisiteList m_Value;
};

// A keyword of one enumeration table, held as its u32 value.
class EnumField final : public MetadataField
{
public:
    using Lookup = bool (*)(const char* text, uint32_t& value);
    EnumField(const char* name, Lookup lookup, uint32_t resetValue)
        : MetadataField(name), m_Lookup(lookup), m_ResetValue(resetValue), m_Value(resetValue)
    {
    }
    void Reset() override;
    bool ParseValue(const JsonReader& member) override;
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

    IntField metadataVersion{"metadataVersion"};
    TextField titleId{"titleId"};
    IntField noxTitleId{"noxTitleId"};
    TextField friendlyName{"friendlyName"};
    TextField altFriendlyName{"altFriendlyName"};
    TextField parentApp{"parentApp"};
    TextField principalFileName{"principalFileName"};
    TextField appdataFolderName{"appdataFolderName"};
    BoolField neverInstallable{"neverInstallable"};
    BoolField invisibleUntilRelease{"invisibleUntilRelease"};
    TextField installFolderRegKey{"installFolderRegKey"};
    TextField installFolderRegValueName{"installFolderRegValueName"};
    TextListField preqs{"preqs"};
    TextListField installshieldGuidList{"installshieldGuid"};
    TextField installshieldGuid{"installshieldGuid"};
    BoolField modScan{"modScan"};
    TextListField modAllowList{"modAllowList"};
    TextListField modWhitelist{"modWhitelist"};
    TextListField settingsRegistry{"settingsRegistry"};
    EnumField settingsRegistryLanguage{"settingsRegistryLanguage", FindRegistryValueType, kMetadataUnset};
    EnumField cloudSaveRoot{"cloudSaveRoot", FindCloudSaveRoot, kMetadataUnset};
    TextField cloudSaveFolder{"cloudSaveFolder"};
    TextListField cloudSaveFiles{"cloudSaveFiles"};
    BoolField cloudSaveLocalMods{"cloudSaveLocalMods"};
    BoolField cloudSaveCompression{"cloudSaveCompression"};
    PlatformFeaturesField platforms{"platforms"};
    BoolField checkExitCodes{"checkExitCodes"};
    TextField appCompatFlags{"appCompatFlags"};
    TextField minKvoVersion{"minKvoVersion"};
    TextField minGameVersion{"minGameVersion"};
    BoolField safeMode{"safeMode"};
    TextListField languages{"languages"};
    IntField crashpadSamplingPercent{"crashpadSamplingPercent"};
    BoolField wmpCheck{"wmpCheck"};
    EnumField gamePlatform{"gamePlatform", FindGamePlatform, GamePlatform::Default};
    EnumField environment{"environment", FindDomainEnvironment, kMetadataUnset};
    TextField environmentName{"environment"};
    BoolField shouldLaunchDirectly{"shouldLaunchDirectly"};
    TextField steamInstallerPath{"steamInstallerPath"};
    AppIdListField steamAppIds{"steamAppIds"};
    IntField epicSdkVersion{"epicSdkVersion"};
    TextField epicProductName{"epicProductName"};
    TextField epicProductVersion{"epicProductVersion"};
    TextField epicProductId{"epicProductId"};
    TextField epicSandboxId{"epicSandboxId"};
    TextField epicDeploymentId{"epicDeploymentId"};
    TextField epicClientId{"epicClientId"};
    TextField epicClientSecret{"epicClientSecret"};
    TextField epicArtifact{"epicArtifact"};
    TextListField epicAudiences{"epicAudiences"};
    PrerequisiteListField customPrerequisites{"customPrerequisites"};

private:
    std::vector<MetadataField*> m_Header;
    std::vector<MetadataField*> m_Main;
};
