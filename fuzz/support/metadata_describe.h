// Every value a metadata object hands out, written into one text, so that a
// fuzzer can read everything and compare two objects that must agree.
#pragma once

#include "metadata/title_metadata.h"

#include <cstdint>
#include <string>

inline std::string DescribeMetadata(TitleMetadata& m)
{
    std::string out;
    auto number = [&](uint64_t v) { out += std::to_string(v) + ';'; };
    auto text = [&](const char* t) {
        out += t ? t : "(null)";
        out += ';';
    };
    auto texts = [&](const TextList& list) {
        out += '[';
        for (const char* item : list)
            text(item);
        out += ']';
    };
    number(static_cast<uint64_t>(m.GetMetadataVersion()));
    text(m.GetTitleId());
    number(static_cast<uint64_t>(m.GetNoxTitleId()));
    text(m.GetFriendlyName());
    text(m.GetAltFriendlyName());
    text(m.GetParentApp());
    text(m.GetPrincipalFileName());
    text(m.GetAppdataFolderName());
    number(m.GetNeverInstallable() + 2u * m.GetInvisibleUntilRelease());
    text(m.GetInstallFolderRegKey());
    text(m.GetInstallFolderRegValueName());
    texts(m.GetPreqs());
    texts(m.GetInstallshieldGuidList());
    text(m.GetInstallshieldGuid());
    number(m.GetModScan());
    texts(m.GetModAllowList());
    texts(m.GetSettingsRegistry());
    number(m.GetSettingsRegistryLanguage());
    number(m.GetCloudSaveRoot());
    text(m.GetCloudSaveRootName());
    text(m.GetCloudSaveFolder());
    texts(m.GetCloudSaveFiles());
    number(m.GetCloudSaveLocalMods() + 2u * m.GetCloudSaveCompression());
    for (uint32_t platform = 0; platform <= GamePlatform::Count; ++platform)
        number(m.GetPlatformFeatures(platform));
    number(m.GetCheckExitCodes());
    text(m.GetAppCompatFlags());
    text(m.GetMinKvoVersion());
    text(m.GetMinGameVersion());
    number(m.GetSafeMode());
    texts(m.GetLanguages());
    number(static_cast<uint64_t>(m.GetCrashpadSamplingPercent()));
    number(m.GetWmpCheck());
    number(m.GetGamePlatform());
    number(m.GetEnvironment());
    text(m.GetEnvironmentName());
    number(m.GetShouldLaunchDirectly() + 2u * m.HasSteamAppIds());
    text(m.GetSteamInstallerPath());
    for (uint64_t id : m.GetSteamAppIds())
        number(id);
    number(m.HasEpicConfig());
    texts(m.GetEpicAudiences());
    for (const PrerequisiteRecord& record : m.GetCustomPrerequisites())
    {
        text(record.GetPrerequisiteId());
        text(record.GetCommandline());
        for (uint32_t code : record.GetIgnoreExitCodes())
            number(code);
    }
    text(m.GetDocumentText());
    number(m.GetLastStatus());
    return out;
}
