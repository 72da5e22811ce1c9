#include "json/json_reader.h"
#include "metadata/metadata_enums.h"

namespace
{
constexpr uint32_t kFeatureNameBuffer = 32;
}

bool ParseFeatureFlags(const JsonReader& object, uint32_t& mask)
{
    JsonReader member;
    if (!object.FirstChild(member))
        return false;
    do
    {
        char name[kFeatureNameBuffer];
        uint32_t bit = 0;
        bool on = false;
        if (!member.GetName(name, sizeof name) || !FindPlatformFeature(name, bit) || !member.GetBool(on))
            return false;
        mask = ApplyFeatureFlag(mask, bit, on);
    } while (member.NextSibling(member));
    return true;
}
