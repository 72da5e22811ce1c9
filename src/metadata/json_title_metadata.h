// The metadata object over a JSON document.
#pragma once

#include "json/json_reader.h"
#include "metadata/metadata_fields.h"
#include "metadata/title_metadata.h"

#include <string>

class JsonTitleMetadata final : public TitleMetadata
{
public:
    JsonTitleMetadata() = default;
    ~JsonTitleMetadata() override;
    JsonTitleMetadata(const JsonTitleMetadata&) = delete;
    JsonTitleMetadata& operator=(const JsonTitleMetadata&) = delete;

    uint32_t LoadFromFile(const char* fileName) override;
    uint32_t LoadFromMemory(const void* data, uint32_t size) override;
    const char* GetDocumentText() override { return text.c_str(); }
    void Clear() override;
    uint32_t GetLastStatus() override { return lastStatus; }

    int32_t GetMetadataVersion() override { return Read(fields.metadataVersion); }
    const char* GetTitleId() override { return Read(fields.titleId); }
    int32_t GetNoxTitleId() override { return Read(fields.noxTitleId); }
    const char* GetFriendlyName() override { return Read(fields.friendlyName); }
    const char* GetAltFriendlyName() override { return Read(fields.altFriendlyName); }
    const char* GetParentApp() override { return Read(fields.parentApp); }
    const char* GetPrincipalFileName() override { return Read(fields.principalFileName); }
    const char* GetAppdataFolderName() override { return Read(fields.appdataFolderName); }
    bool GetNeverInstallable() override { return Read(fields.neverInstallable); }
    bool GetInvisibleUntilRelease() override { return Read(fields.invisibleUntilRelease); }
    const char* GetInstallFolderRegKey() override { return Read(fields.installFolderRegKey); }
    const char* GetInstallFolderRegValueName() override { return Read(fields.installFolderRegValueName); }
    const TextList& GetPreqs() override { return Read(fields.preqs); }
    const TextList& GetInstallshieldGuidList() override { return Read(fields.installshieldGuidList); }
    const char* GetInstallshieldGuid() override { return Read(fields.installshieldGuid); }
    bool GetModScan() override { return Read(fields.modScan); }
    const TextList& GetModAllowList() override;
    const TextList& GetSettingsRegistry() override { return Read(fields.settingsRegistry); }
    uint32_t GetSettingsRegistryLanguage() override { return Read(fields.settingsRegistryLanguage); }
    uint32_t GetCloudSaveRoot() override { return Read(fields.cloudSaveRoot); }
    const char* GetCloudSaveRootName() override { return CloudSaveRootKeyword(fields.cloudSaveRoot.Value()); }
    const char* GetCloudSaveFolder() override { return Read(fields.cloudSaveFolder); }
    const TextList& GetCloudSaveFiles() override { return Read(fields.cloudSaveFiles); }
    bool GetCloudSaveLocalMods() override { return Read(fields.cloudSaveLocalMods); }
    bool GetCloudSaveCompression() override { return Read(fields.cloudSaveCompression); }
    uint32_t GetPlatformFeatures(uint32_t platform) override;
    bool GetCheckExitCodes() override { return Read(fields.checkExitCodes); }
    const char* GetAppCompatFlags() override { return Read(fields.appCompatFlags); }
    const char* GetMinKvoVersion() override { return Read(fields.minKvoVersion); }
    const char* GetMinGameVersion() override { return Read(fields.minGameVersion); }
    bool GetSafeMode() override { return Read(fields.safeMode); }
    const TextList& GetLanguages() override { return Read(fields.languages); }
    int32_t GetCrashpadSamplingPercent() override { return Read(fields.crashpadSamplingPercent); }
    bool GetWmpCheck() override { return Read(fields.wmpCheck); }
    uint32_t GetGamePlatform() override { return Read(fields.gamePlatform); }
    uint32_t GetEnvironment() override { return Read(fields.environment); }
    const char* GetEnvironmentName() override { return Read(fields.environmentName); }
    bool GetShouldLaunchDirectly() override { return Read(fields.shouldLaunchDirectly); }
    bool HasSteamAppIds() override { return GetSteamAppIds().Count() != 0; }
    const char* GetSteamInstallerPath() override { return Read(fields.steamInstallerPath); }
    const AppIdList& GetSteamAppIds() override { return Read(fields.steamAppIds); }
    bool HasEpicConfig() override;
    int32_t GetEpicSdkVersion() override { return Read(fields.epicSdkVersion); }
    const char* GetEpicProductName() override { return Read(fields.epicProductName); }
    const char* GetEpicProductVersion() override { return Read(fields.epicProductVersion); }
    const char* GetEpicProductId() override { return Read(fields.epicProductId); }
    const char* GetEpicSandboxId() override { return Read(fields.epicSandboxId); }
    const char* GetEpicDeploymentId() override { return Read(fields.epicDeploymentId); }
    const char* GetEpicClientId() override { return Read(fields.epicClientId); }
    const char* GetEpicClientSecret() override { return Read(fields.epicClientSecret); }
    const char* GetEpicArtifact() override { return Read(fields.epicArtifact); }
    const TextList& GetEpicAudiences() override { return Read(fields.epicAudiences); }
    const PrerequisiteList& GetCustomPrerequisites() override { return Read(fields.customPrerequisites); }

    // The step behind every getter: parses the field on its first successful read.
    uint32_t ReadField(MetadataField& field);
    // Reads every field once after a parse, so that a missing required field
    // fails the load. Ok once every required field was read; an invalid
    // optional field is logged and keeps its value.
    uint32_t ReadAllFields();

    const MetadataFieldTable& Fields() const { return fields; }

private:
    // Parses the member found for `field` (null: the document has none).
    uint32_t ParseMember(MetadataField& field, const JsonReader* member);

    int32_t Read(IntField& field)
    {
        lastStatus = ReadField(field);
        return field.Value();
    }
    bool Read(BoolField& field)
    {
        lastStatus = ReadField(field);
        return field.Value();
    }
    const char* Read(TextField& field)
    {
        lastStatus = ReadField(field);
        return field.Value().c_str();
    }
    uint32_t Read(EnumField& field)
    {
        lastStatus = ReadField(field);
        return field.Value();
    }
    const TextList& Read(TextListField& field)
    {
        lastStatus = ReadField(field);
        return field.Value();
    }
    const AppIdList& Read(AppIdListField& field)
    {
        lastStatus = ReadField(field);
        return field.Value();
    }
    const PrerequisiteList& Read(PrerequisiteListField& field)
    {
        lastStatus = ReadField(field);
        return field.Value();
    }

    // Valid only after a parse has succeeded; over `text`, or over an empty
    // object once cleared, so that it never points at released text.
    JsonReader document;
    std::string text;
    MetadataFieldTable fields;
    uint32_t lastStatus = MetadataStatus::Ok;
};
