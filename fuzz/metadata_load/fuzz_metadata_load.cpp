// Any bytes handed to LoadFromMemory end in a status. The first byte picks
// how the rest is handed over: as it stands, or sealed in a container first
// so that the document parser behind the decryption is reached as well.
#include "metadata/metadata_container.h"
#include "metadata/title_metadata.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace
{
// Touches every value the object hands out.
void ReadEverything(TitleMetadata& m)
{
    volatile size_t sink = 0;
    auto text = [&](const char* t) { sink = sink + (t ? t[0] : 1); };
    auto texts = [&](const TextList& list) {
        for (const char* item : list)
            text(item);
    };
    sink = sink + static_cast<size_t>(m.GetMetadataVersion());
    text(m.GetTitleId());
    sink = sink + static_cast<size_t>(m.GetNoxTitleId());
    text(m.GetFriendlyName());
    text(m.GetAltFriendlyName());
    text(m.GetParentApp());
    text(m.GetPrincipalFileName());
    text(m.GetAppdataFolderName());
    sink = sink + m.GetNeverInstallable() + m.GetInvisibleUntilRelease();
    text(m.GetInstallFolderRegKey());
    text(m.GetInstallFolderRegValueName());
    texts(m.GetPreqs());
    texts(m.GetInstallshieldGuidList());
    text(m.GetInstallshieldGuid());
    sink = sink + m.GetModScan();
    texts(m.GetModAllowList());
    texts(m.GetSettingsRegistry());
    sink = sink + m.GetSettingsRegistryLanguage() + m.GetCloudSaveRoot();
    text(m.GetCloudSaveRootName());
    text(m.GetCloudSaveFolder());
    texts(m.GetCloudSaveFiles());
    sink = sink + m.GetCloudSaveLocalMods() + m.GetCloudSaveCompression();
    for (uint32_t platform = 0; platform <= GamePlatform::Count; ++platform)
        sink = sink + m.GetPlatformFeatures(platform);
    sink = sink + m.GetCheckExitCodes();
    text(m.GetAppCompatFlags());
    text(m.GetMinKvoVersion());
    text(m.GetMinGameVersion());
    sink = sink + m.GetSafeMode();
    texts(m.GetLanguages());
    sink = sink + static_cast<size_t>(m.GetCrashpadSamplingPercent()) + m.GetWmpCheck() + m.GetGamePlatform() +
           m.GetEnvironment();
    text(m.GetEnvironmentName());
    sink = sink + m.GetShouldLaunchDirectly() + m.HasSteamAppIds();
    text(m.GetSteamInstallerPath());
    for (uint64_t id : m.GetSteamAppIds())
        sink = sink + static_cast<size_t>(id);
    sink = sink + m.HasEpicConfig();
    texts(m.GetEpicAudiences());
    for (const PrerequisiteRecord& record : m.GetCustomPrerequisites())
    {
        text(record.GetPrerequisiteId());
        text(record.GetCommandline());
        for (uint32_t code : record.GetIgnoreExitCodes())
            sink = sink + code;
    }
    text(m.GetDocumentText());
    sink = sink + m.GetLastStatus();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxMetadataSize + 1)
        return 0;
    std::unique_ptr<TitleMetadata> metadata(CreateTitleMetadata());
    const uint8_t* body = data + 1;
    uint32_t bodySize = static_cast<uint32_t>(size - 1);
    if (data[0] & 1)
    {
        std::vector<uint8_t> container;
        if (EncodeContainer(body, bodySize, container) != 0)
            __builtin_trap();
        metadata->LoadFromMemory(container.data(), static_cast<uint32_t>(container.size()));
    }
    else
    {
        metadata->LoadFromMemory(body, bodySize);
    }
    ReadEverything(*metadata);
    // A second load over the first, then a clear, must leave nothing dangling.
    metadata->LoadFromMemory(body, bodySize);
    ReadEverything(*metadata);
    metadata->Clear();
    ReadEverything(*metadata);
    return 0;
}
