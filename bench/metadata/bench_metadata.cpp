// Loading title.kvo from memory and reading every field: a typical document
// (about 3 KB) plain and in a container, and containers at the 8 MiB limit.
#include "metadata/metadata_container.h"
#include "metadata/title_metadata.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace
{
std::string TypicalDocument()
{
    std::string text = R"({
  "metadataVersion": 4,
  "titleId": "tavrin.frostline.live",
  "noxTitleId": 44101,
  "friendlyName": "Frostline",
  "altFriendlyName": "Frostline: Northern Reach",
  "parentApp": "tavrin.launcher",
  "principalFileName": "Binaries\\Win64\\Frostline.exe",
  "appdataFolderName": "Frostline",
  "neverInstallable": false,
  "invisibleUntilRelease": false,
  "installFolderRegKey": "SOFTWARE\\WOW6432Node\\Tavrin Games\\Frostline",
  "installFolderRegValueName": "InstallFolder",
  "preqs": ["vcredist2019", "directx-june2010", "physx-9.19"],
  "installshieldGuid": "{6A1F33C2-5F0B-4BB4-9C61-2A6D3C1F7E21}",
  "modScan": true,
  "modAllowList": ["Mods\\Official", "Mods\\Community\\Approved", "Mods\\Workshop"],
  "settingsRegistry": ["HKEY_CURRENT_USER\\Software\\Tavrin Games\\Frostline\\Settings"],
  "settingsRegistryLanguage": "str",
  "cloudSaveRoot": "docs_qn",
  "cloudSaveFolder": "My Games\\Frostline\\Saves",
  "cloudSaveFiles": ["*.sav", "*.bak", "profile.json", "settings.ini", "keybinds.cfg"],
  "cloudSaveLocalMods": false,
  "cloudSaveCompression": true,
  "platforms": {
    "default": {"cloud": true, "crashpadEnabled": true},
    "steam": {"noAccessToken": true, "noVornArgs": true},
    "viveport": {"cloud": false, "soundCardReq": true},
    "oculus": {"cloud": false},
    "disk": {"cloud": false, "gfwlSaveMigration": true},
    "epic": {"noAccessToken": true}
  },
  "checkExitCodes": true,
  "appCompatFlags": "~ HIGHDPIAWARE DISABLEDXMAXIMIZEDWINDOWEDMODE",
  "minKvoVersion": "3.12.0",
  "minGameVersion": "1.4.2.8812",
  "safeMode": false,
  "languages": ["en", "de", "fr", "es", "it", "pl", "pt-BR", "ru", "ja", "ko", "zh-Hans", "zh-Hant", "tr"],
  "crashpadSamplingPercent": 20,
  "wmpCheck": false,
  "gamePlatform": "steam",
  "environment": "prod",
  "shouldLaunchDirectly": false,
  "steamInstallerPath": "Redist\\Steam\\SteamLauncherSetup.exe",
  "steamAppIds": ["0x1A2B3C", 1712040, 1712041, 1712042],
  "epicSdkVersion": 3,
  "epicProductName": "Frostline",
  "epicProductVersion": "1.4.2",
  "epicProductId": "8c3f0e1a6b2d4c59a7e8f9012b3c4d5e",
  "epicSandboxId": "f1e2d3c4b5a697887766554433221100",
  "epicDeploymentId": "0a1b2c3d4e5f60718293a4b5c6d7e8f9",
  "epicClientId": "xyza7891abcdEFGHijklMNOPqrstUVWX",
  "epicClientSecret": "Zq3m9X2v8B7n6C5x4Z3l2K1j0H9g8F7d6S5a4P3o",
  "epicArtifact": "frostline-live-win64",
  "epicAudiences": ["public", "partners"],
  "customPrerequisites": [
    {"prerequisiteId": "vcredist2019", "friendlyName": "Visual Runtime 2019", "version": "14.29.30133",
     "executableName": "Redist\\vc_redist.x64.exe", "commandline": "/install /quiet /norestart",
     "locKey": "PREREQ_VCREDIST", "ignoreExitCodes": [1638, 3010, 5100]},
    {"prerequisiteId": "directx-june2010", "friendlyName": "DirectX End-User Runtime", "version": "9.29.1974",
     "executableName": "Redist\\DXSETUP.exe", "commandline": "/silent", "locKey": "PREREQ_DIRECTX"},
    {"prerequisiteId": "physx-9.19", "friendlyName": "Physics Runtime", "version": "9.19.0218",
     "executableName": "Redist\\PhysX_9.19.0218_SystemSoftware.msi", "commandline": "/qn",
     "locKey": "PREREQ_PHYSX", "ignoreExitCodes": ["0x641", 3010]}
  ]
})";
    return text;
}

// A document filled to the size limit by a long list after its fields. With
// `sparse` only the required fields are given, so every optional field's
// lookup walks past the whole list.
std::string LargestDocument(bool sparse)
{
    std::string text =
        sparse ? std::string("{\"titleId\": \"t\", \"friendlyName\": \"F\", "
                             "\"principalFileName\": \"P.exe\", \"appdataFolderName\": \"A\", "
                             "\"installFolderRegKey\": \"K\", \"installFolderRegValueName\": \"V\", "
                             "\"languages\": [\"en\"]\n}")
               : TypicalDocument();
    text.resize(text.size() - 2); // drop the closing "\n}"
    text += ",\n  \"notes\": [";
    std::string tail = "]\n}";
    size_t target = kMaxMetadataSize - 64; // room for the padding block and a little slack
    bool first = true;
    while (text.size() + tail.size() + 120 < target)
    {
        if (!first)
            text += ",";
        first = false;
        text += "\n    \"Saves\\\\Slot" + std::to_string(text.size()) +
                "\\\\checkpoint-autosave-with-a-fairly-long-descriptive-file-name-for-testing.sav\"";
    }
    return text + tail;
}

// A document filled to the size limit with many small root members after the
// required fields: more members than the reader remembers per container, so
// a separate lookup for each absent key would walk all of them again.
std::string ManyMembersDocument()
{
    std::string text = "{\"titleId\": \"t\", \"friendlyName\": \"F\", "
                       "\"principalFileName\": \"P.exe\", \"appdataFolderName\": \"A\", "
                       "\"installFolderRegKey\": \"K\", \"installFolderRegValueName\": \"V\", "
                       "\"languages\": [\"en\"]";
    size_t target = kMaxMetadataSize - 64;
    for (size_t i = 0; text.size() + 64 < target; ++i)
        text += ",\n  \"note" + std::to_string(i) + "\": \"slot\"";
    return text + "\n}";
}

std::vector<uint8_t> Seal(const std::string& text)
{
    std::vector<uint8_t> container;
    EncodeContainer(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()),
                    container);
    return container;
}

void ReadEverything(TitleMetadata& m)
{
    benchmark::DoNotOptimize(m.GetMetadataVersion());
    benchmark::DoNotOptimize(m.GetTitleId());
    benchmark::DoNotOptimize(m.GetNoxTitleId());
    benchmark::DoNotOptimize(m.GetFriendlyName());
    benchmark::DoNotOptimize(m.GetAltFriendlyName());
    benchmark::DoNotOptimize(m.GetParentApp());
    benchmark::DoNotOptimize(m.GetPrincipalFileName());
    benchmark::DoNotOptimize(m.GetAppdataFolderName());
    benchmark::DoNotOptimize(m.GetNeverInstallable());
    benchmark::DoNotOptimize(m.GetInvisibleUntilRelease());
    benchmark::DoNotOptimize(m.GetInstallFolderRegKey());
    benchmark::DoNotOptimize(m.GetInstallFolderRegValueName());
    benchmark::DoNotOptimize(&m.GetPreqs());
    benchmark::DoNotOptimize(&m.GetInstallshieldGuidList());
    benchmark::DoNotOptimize(m.GetInstallshieldGuid());
    benchmark::DoNotOptimize(m.GetModScan());
    benchmark::DoNotOptimize(&m.GetModAllowList());
    benchmark::DoNotOptimize(&m.GetSettingsRegistry());
    benchmark::DoNotOptimize(m.GetSettingsRegistryLanguage());
    benchmark::DoNotOptimize(m.GetCloudSaveRoot());
    benchmark::DoNotOptimize(m.GetCloudSaveRootName());
    benchmark::DoNotOptimize(m.GetCloudSaveFolder());
    benchmark::DoNotOptimize(&m.GetCloudSaveFiles());
    benchmark::DoNotOptimize(m.GetCloudSaveLocalMods());
    benchmark::DoNotOptimize(m.GetCloudSaveCompression());
    for (uint32_t platform = 0; platform < GamePlatform::Count; ++platform)
        benchmark::DoNotOptimize(m.GetPlatformFeatures(platform));
    benchmark::DoNotOptimize(m.GetCheckExitCodes());
    benchmark::DoNotOptimize(m.GetAppCompatFlags());
    benchmark::DoNotOptimize(m.GetMinKvoVersion());
    benchmark::DoNotOptimize(m.GetMinGameVersion());
    benchmark::DoNotOptimize(m.GetSafeMode());
    benchmark::DoNotOptimize(&m.GetLanguages());
    benchmark::DoNotOptimize(m.GetCrashpadSamplingPercent());
    benchmark::DoNotOptimize(m.GetWmpCheck());
    benchmark::DoNotOptimize(m.GetGamePlatform());
    benchmark::DoNotOptimize(m.GetEnvironment());
    benchmark::DoNotOptimize(m.GetEnvironmentName());
    benchmark::DoNotOptimize(m.GetShouldLaunchDirectly());
    benchmark::DoNotOptimize(m.HasSteamAppIds());
    benchmark::DoNotOptimize(m.GetSteamInstallerPath());
    benchmark::DoNotOptimize(&m.GetSteamAppIds());
    benchmark::DoNotOptimize(m.HasEpicConfig());
    benchmark::DoNotOptimize(m.GetEpicSdkVersion());
    benchmark::DoNotOptimize(m.GetEpicProductName());
    benchmark::DoNotOptimize(m.GetEpicProductVersion());
    benchmark::DoNotOptimize(m.GetEpicProductId());
    benchmark::DoNotOptimize(m.GetEpicSandboxId());
    benchmark::DoNotOptimize(m.GetEpicDeploymentId());
    benchmark::DoNotOptimize(m.GetEpicClientId());
    benchmark::DoNotOptimize(m.GetEpicClientSecret());
    benchmark::DoNotOptimize(m.GetEpicArtifact());
    benchmark::DoNotOptimize(&m.GetEpicAudiences());
    benchmark::DoNotOptimize(&m.GetCustomPrerequisites());
}

void LoadAndRead(benchmark::State& state, const std::vector<uint8_t>& bytes)
{
    for (auto _ : state)
    {
        std::unique_ptr<TitleMetadata> metadata(CreateTitleMetadata());
        uint32_t status = metadata->LoadFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()));
        if (status != MetadataStatus::Ok)
        {
            state.SkipWithError("load failed");
            return;
        }
        ReadEverything(*metadata);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes.size()));
    state.counters["input_bytes"] = static_cast<double>(bytes.size());
}

void TypicalPlain(benchmark::State& state)
{
    std::string text = TypicalDocument();
    LoadAndRead(state, std::vector<uint8_t>(text.begin(), text.end()));
}

void TypicalContainer(benchmark::State& state)
{
    LoadAndRead(state, Seal(TypicalDocument()));
}

void LargestContainer(benchmark::State& state)
{
    LoadAndRead(state, Seal(LargestDocument(false)));
}

void LargestContainerSparse(benchmark::State& state)
{
    LoadAndRead(state, Seal(LargestDocument(true)));
}

void LargestContainerManyMembers(benchmark::State& state)
{
    LoadAndRead(state, Seal(ManyMembersDocument()));
}
} // namespace

BENCHMARK(TypicalPlain)->Unit(benchmark::kMicrosecond);
BENCHMARK(TypicalContainer)->Unit(benchmark::kMicrosecond);
BENCHMARK(LargestContainer)->Unit(benchmark::kMillisecond);
BENCHMARK(LargestContainerSparse)->Unit(benchmark::kMillisecond);
BENCHMARK(LargestContainerManyMembers)->Unit(benchmark::kMillisecond);
