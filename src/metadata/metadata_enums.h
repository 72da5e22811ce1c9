// The keyword enumerations of the title metadata and the per-platform feature flags.
#pragma once

#include <cstdint>

class JsonReader;

// Every enumeration is carried as u32; this value means "not set".
constexpr uint32_t kMetadataUnset = 0xFFFFFFFFu;

// The structs scope the value names; the values themselves are plain u32s so
// they compare directly with what the getters return.
struct CloudSaveRoot
{
    enum Value : uint32_t
    {
        Qn = 0,
        Docs = 1,
        App = 2,
        DocsQn = 3,
        AppQn = 4,
    };
    static constexpr uint32_t Count = 5;
};

// The store front of the title; also the member names of `platforms` and the
// index of its six masks.
struct GamePlatform
{
    enum Value : uint32_t
    {
        Default = 0,
        Steam = 1,
        Viveport = 2,
        Oculus = 3,
        Disk = 4,
        Epic = 5,
    };
    static constexpr uint32_t Count = 6;
};

struct DomainEnvironment
{
    enum Value : uint32_t
    {
        Empty = 0,
        Dev = 1,
        Cert = 2,
        Prod = 3,
    };
    static constexpr uint32_t Count = 4;
};

struct RegistryValueType
{
    enum Value : uint32_t
    {
        Int = 0,
        Str = 1,
    };
    static constexpr uint32_t Count = 2;
};

// Bit values of a feature mask.
struct PlatformFeature
{
    enum Value : uint32_t
    {
        Cloud = 1,
        NoAccessToken = 2,
        SoundCardReq = 8,
        GfwlSaveMigration = 16,
        NoVornArgs = 32,
        CrashpadEnabled = 64,
        Reserved = 128,
        Reserved2 = 256,
    };
};

// Keyword of a value; the empty text for a value outside the table.
const char* CloudSaveRootKeyword(uint32_t value);
const char* GamePlatformKeyword(uint32_t value);
const char* DomainEnvironmentKeyword(uint32_t value);
const char* RegistryValueTypeKeyword(uint32_t value);

// Exact, case-sensitive keyword lookups; `value` is written only when found.
bool FindCloudSaveRoot(const char* text, uint32_t& value);
bool FindGamePlatform(const char* text, uint32_t& value);
bool FindDomainEnvironment(const char* text, uint32_t& value);
bool FindRegistryValueType(const char* text, uint32_t& value);

// Keyword of one feature bit; logs and gives the empty text for anything else.
const char* PlatformFeatureName(uint32_t bit);
bool FindPlatformFeature(const char* text, uint32_t& bit);
uint32_t ApplyFeatureFlag(uint32_t mask, uint32_t bit, bool on);

// Applies one feature object ({"cloud": true, ...}) onto `mask` in member
// order. Fails on an empty object, an unknown feature or a non-boolean value;
// the members applied before the failing one stay applied.
bool ParseFeatureFlags(const JsonReader& object, uint32_t& mask);
