// The title's metadata object: what the stub knows about the game it ships
// with, loaded from title.kvo and read one field at a time through getters.
#pragma once

#include "metadata/metadata_enums.h"
#include "metadata/metadata_lists.h"
#include "metadata/metadata_log.h"
#include "metadata/metadata_status.h"

#include <cstdint>

// Getters never fail: each records a MetadataStatus (GetLastStatus) and gives
// the value its field holds, or the field's start value when it is absent.
// Texts are NUL-terminated UTF-8 and lists are references, both owned by the
// object and valid until it is cleared, reloaded or destroyed. Enumerations
// are u32 with kMetadataUnset for "no value".
class TitleMetadata
{
public:
    virtual ~TitleMetadata() = default;

    // Finds the file at `fileName` or up to three folders above (Windows
    // paths, backslash separated) and loads it.
    virtual uint32_t LoadFromFile(const char* fileName) = 0;
    // Loads plain JSON or a container; at most kMaxMetadataSize bytes.
    virtual uint32_t LoadFromMemory(const void* data, uint32_t size) = 0;
    virtual const char* GetDocumentText() = 0;
    virtual void Clear() = 0;
    virtual uint32_t GetLastStatus() = 0;

    virtual int32_t GetMetadataVersion() = 0;
    virtual const char* GetTitleId() = 0;
    virtual int32_t GetNoxTitleId() = 0;
    virtual const char* GetFriendlyName() = 0;
    virtual const char* GetAltFriendlyName() = 0;
    virtual const char* GetParentApp() = 0;
    virtual const char* GetPrincipalFileName() = 0;
    virtual const char* GetAppdataFolderName() = 0;
    virtual bool GetNeverInstallable() = 0;
    virtual bool GetInvisibleUntilRelease() = 0;
    virtual const char* GetInstallFolderRegKey() = 0;
    virtual const char* GetInstallFolderRegValueName() = 0;
    virtual const TextList& GetPreqs() = 0;
    virtual const TextList& GetInstallshieldGuidList() = 0;
    virtual const char* GetInstallshieldGuid() = 0;
    virtual bool GetModScan() = 0;
    // `modAllowList`, else the older `modWhitelist`.
    virtual const TextList& GetModAllowList() = 0;
    virtual const TextList& GetSettingsRegistry() = 0;
    virtual uint32_t GetSettingsRegistryLanguage() = 0;
    virtual uint32_t GetCloudSaveRoot() = 0;
    // Keyword of the held cloudSaveRoot value; reads nothing, keeps the status.
    virtual const char* GetCloudSaveRootName() = 0;
    virtual const char* GetCloudSaveFolder() = 0;
    virtual const TextList& GetCloudSaveFiles() = 0;
    virtual bool GetCloudSaveLocalMods() = 0;
    virtual bool GetCloudSaveCompression() = 0;
    // Feature mask of one GamePlatform; IndexOutOfRange and 0 for 6 or more.
    virtual uint32_t GetPlatformFeatures(uint32_t platform) = 0;
    virtual bool GetCheckExitCodes() = 0;
    virtual const char* GetAppCompatFlags() = 0;
    virtual const char* GetMinKvoVersion() = 0;
    virtual const char* GetMinGameVersion() = 0;
    virtual bool GetSafeMode() = 0;
    virtual const TextList& GetLanguages() = 0;
    virtual int32_t GetCrashpadSamplingPercent() = 0;
    virtual bool GetWmpCheck() = 0;
    virtual uint32_t GetGamePlatform() = 0;
    virtual uint32_t GetEnvironment() = 0;
    virtual const char* GetEnvironmentName() = 0;
    virtual bool GetShouldLaunchDirectly() = 0;
    virtual bool HasSteamAppIds() = 0;
    virtual const char* GetSteamInstallerPath() = 0;
    virtual const AppIdList& GetSteamAppIds() = 0;
    // True when epicSdkVersion is above 0.
    virtual bool HasEpicConfig() = 0;
    virtual int32_t GetEpicSdkVersion() = 0;
    virtual const char* GetEpicProductName() = 0;
    virtual const char* GetEpicProductVersion() = 0;
    virtual const char* GetEpicProductId() = 0;
    virtual const char* GetEpicSandboxId() = 0;
    virtual const char* GetEpicDeploymentId() = 0;
    virtual const char* GetEpicClientId() = 0;
    virtual const char* GetEpicClientSecret() = 0;
    virtual const char* GetEpicArtifact() = 0;
    virtual const TextList& GetEpicAudiences() = 0;
    virtual const PrerequisiteList& GetCustomPrerequisites() = 0;
};

// A new, empty metadata object owned by the caller.
TitleMetadata* CreateTitleMetadata();

// "title.kvo"
const char* GetMetadataFileName();
