#include "metadata/metadata_enums.h"

#include "metadata/metadata_log.h"

#include <cstring>

namespace
{
const char* const kCloudSaveRootKeywords[CloudSaveRoot::Count] = {"qn", "docs", "app", "docs_qn", "app_qn"};
const char* const kGamePlatformKeywords[GamePlatform::Count] = {"default", "steam", "viveport",
                                                                "oculus",  "disk",  "epic"};
const char* const kDomainEnvironmentKeywords[DomainEnvironment::Count] = {"", "dev", "cert", "prod"};
const char* const kRegistryValueTypeKeywords[RegistryValueType::Count] = {"int", "str"};

struct FeatureEntry
{
    uint32_t bit;
    const char* keyword;
};

// Ascending bit order: the lookup gives the first match, so "RESERVED" reads as 128.
const FeatureEntry kFeatures[] = {
    {PlatformFeature::Cloud, "cloud"},
    {PlatformFeature::NoAccessToken, "noAccessToken"},
    {PlatformFeature::SoundCardReq, "soundCardReq"},
    {PlatformFeature::GfwlSaveMigration, "gfwlSaveMigration"},
    {PlatformFeature::NoVornArgs, "noVornArgs"},
    {PlatformFeature::CrashpadEnabled, "crashpadEnabled"},
    {PlatformFeature::Reserved, "RESERVED"},
    {PlatformFeature::Reserved2, "RESERVED"},
};

template <uint32_t N>
const char* Keyword(const char* const (&table)[N], uint32_t value)
{
    return value < N ? table[value] : "";
}

template <uint32_t N>
bool Find(const char* const (&table)[N], const char* text, uint32_t& value)
{
    if (!text)
        return false;
    for (uint32_t i = 0; i < N; ++i)
    {
        if (std::strcmp(table[i], text) == 0)
        {
            value = i;
            return true;
        }
    }
    return false;
}
} // namespace

const char* CloudSaveRootKeyword(uint32_t value)
{
    return Keyword(kCloudSaveRootKeywords, value);
}

const char* GamePlatformKeyword(uint32_t value)
{
    return Keyword(kGamePlatformKeywords, value);
}

const char* DomainEnvironmentKeyword(uint32_t value)
{
    return Keyword(kDomainEnvironmentKeywords, value);
}

const char* RegistryValueTypeKeyword(uint32_t value)
{
    return Keyword(kRegistryValueTypeKeywords, value);
}

bool FindCloudSaveRoot(const char* text, uint32_t& value)
{
    return Find(kCloudSaveRootKeywords, text, value);
}

bool FindGamePlatform(const char* text, uint32_t& value)
{
    return Find(kGamePlatformKeywords, text, value);
}

bool FindDomainEnvironment(const char* text, uint32_t& value)
{
    return Find(kDomainEnvironmentKeywords, text, value);
}

bool FindRegistryValueType(const char* text, uint32_t& value)
{
    return Find(kRegistryValueTypeKeywords, text, value);
}

const char* PlatformFeatureName(uint32_t bit)
{
    for (const FeatureEntry& entry : kFeatures)
    {
        if (entry.bit == bit)
            return entry.keyword;
    }
    MetadataLog(Error, "Invalid platform feature ID specified: %d", static_cast<int>(bit));
    return "";
}

bool FindPlatformFeature(const char* text, uint32_t& bit)
{
    if (!text)
        return false;
    for (const FeatureEntry& entry : kFeatures)
    {
        if (std::strcmp(entry.keyword, text) == 0)
        {
            bit = entry.bit;
            return true;
        }
    }
    return false;
}

uint32_t ApplyFeatureFlag(uint32_t mask, uint32_t bit, bool on)
{
    return on ? (mask | bit) : (mask & ~bit);
}
