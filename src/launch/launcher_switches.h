#pragma once
// The launcher's switches that carry metadata values: portable, so that the
// tools describe the command line the stub builds.
#include "metadata/metadata_enums.h"

#include <cstdint>

// The switch (with its '=') before the title id on the launcher's command
// line, per store front; null where the title id is not passed (Steam passes
// its app id, a disk title nothing).
inline const char* TitleIdSwitch(uint32_t platform)
{
    switch (platform)
    {
    case GamePlatform::Default:
        return "-minmodeApp=";
    case GamePlatform::Viveport:
        return "-viveportApp=";
    case GamePlatform::Oculus:
        return "-oculusApp=";
    case GamePlatform::Epic:
        return "-epicAppId=";
    default:
        return nullptr;
    }
}
