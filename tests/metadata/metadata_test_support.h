// Shared helpers of the metadata tests: log capture, document and container building.
#pragma once

#include "metadata/metadata_container.h"
#include "metadata/metadata_log.h"
#include "metadata/title_metadata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

// Captures the metadata log (every level) while alive, as "<level letter> <text>".
struct MetadataLogCapture
{
    MetadataLogCapture()
    {
        lines.clear();
        SetMetadataLogCallback(
            [](MetadataLogMessage& message)
            {
                lines.push_back(std::string(1, "AEWDV?"[std::min(message.GetLevel(), 5u)]) + " " +
                                message.GetText());
                return 0;
            });
    }
    ~MetadataLogCapture() { SetMetadataLogCallback(nullptr); }
    static inline std::vector<std::string> lines;
    static size_t CountOf(const std::string& line) { return std::count(lines.begin(), lines.end(), line); }
    static std::vector<std::string> ErrorsOnly()
    {
        std::vector<std::string> errors;
        for (const std::string& line : lines)
            if (line.rfind("E ", 0) == 0)
                errors.push_back(line.substr(2));
        return errors;
    }
};

// The seven required members, then `extra` (a list of members, or empty).
inline std::string Document(const std::string& extra = "")
{
    std::string text = "{\"titleId\": \"tavrin.test\", \"friendlyName\": \"Test Title\", "
                       "\"principalFileName\": \"Test.exe\", \"appdataFolderName\": \"TestData\", "
                       "\"installFolderRegKey\": \"SOFTWARE\\\\Tavrin\\\\Test\", "
                       "\"installFolderRegValueName\": \"InstallFolder\", \"languages\": [\"en\"]";
    return text + (extra.empty() ? "" : ", " + extra) + "}";
}

// Every optional key with a value other than its start value.
inline const char* const kFullMembers =
    "\"metadataVersion\": 3, \"noxTitleId\": 5501, \"altFriendlyName\": \"Alt\", \"parentApp\": \"Parent\", "
    "\"neverInstallable\": true, \"invisibleUntilRelease\": true, \"preqs\": [\"p1\"], "
    "\"installshieldGuid\": \"{G}\", \"modScan\": true, \"modAllowList\": [\"m1\", \"m2\"], "
    "\"modWhitelist\": [\"w1\"], \"settingsRegistry\": [\"HKCU\\\\A\"], \"settingsRegistryLanguage\": "
    "\"int\", "
    "\"cloudSaveRoot\": \"app_qn\", \"cloudSaveFolder\": \"Saves\", \"cloudSaveFiles\": [\"*.sav\"], "
    "\"cloudSaveLocalMods\": true, \"cloudSaveCompression\": true, "
    "\"platforms\": {\"default\": {\"soundCardReq\": true}}, \"checkExitCodes\": false, "
    "\"appCompatFlags\": \"HIGHDPIAWARE\", \"minKvoVersion\": \"2.1\", \"minGameVersion\": \"1.0.3\", "
    "\"safeMode\": true, \"crashpadSamplingPercent\": 25, \"wmpCheck\": true, \"gamePlatform\": \"oculus\", "
    "\"environment\": \"cert\", \"shouldLaunchDirectly\": true, \"steamInstallerPath\": "
    "\"steam\\\\setup.exe\", "
    "\"steamAppIds\": [1001], \"epicSdkVersion\": 2, \"epicProductName\": \"EP\", \"epicProductVersion\": "
    "\"EV\", "
    "\"epicProductId\": \"EI\", \"epicSandboxId\": \"ES\", \"epicDeploymentId\": \"ED\", \"epicClientId\": "
    "\"EC\", "
    "\"epicClientSecret\": \"EX\", \"epicArtifact\": \"EA\", \"epicAudiences\": [\"a1\", \"a2\"], "
    "\"customPrerequisites\": [{\"prerequisiteId\": \"r\", \"friendlyName\": \"R\", \"version\": \"1\", "
    "\"executableName\": \"r.exe\"}]";

inline std::unique_ptr<TitleMetadata> NewMetadata()
{
    return std::unique_ptr<TitleMetadata>(CreateTitleMetadata());
}

inline uint32_t Load(TitleMetadata& metadata, const std::string& bytes)
{
    return metadata.LoadFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

// A text or number as itself; a list as "[a,b]".
template <typename T>
std::string Str(const T& value)
{
    if constexpr (std::is_same_v<T, const char*>)
        return value;
    else if constexpr (std::is_arithmetic_v<T>)
        return std::to_string(value);
    else
    {
        std::string out;
        const char* separator = "";
        for (auto item : value)
            out += separator + Str(item), separator = ",";
        return "[" + out + "]";
    }
}

// `text` wrapped into a container under `key`.
inline std::vector<uint8_t> Sealed(const std::string& text, const uint8_t* key = GetContainerKey())
{
    std::vector<uint8_t> container;
    EXPECT_EQ(0u, EncodeContainer(reinterpret_cast<const uint8_t*>(text.data()),
                                  static_cast<uint32_t>(text.size()), key, container));
    return container;
}

template <typename Path>
void WriteFile(const Path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}
inline std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// `total` zero bytes under a container header of `version` and payload `length`.
inline std::vector<uint8_t> ContainerHeader(uint32_t version, uint32_t length, size_t total)
{
    std::vector<uint8_t> bytes(total, 0);
    std::memcpy(bytes.data(), "KVOM", 4);
    std::memcpy(bytes.data() + 4, &version, 4); // every target is little-endian
    std::memcpy(bytes.data() + 8, &length, 4);
    return bytes;
}
