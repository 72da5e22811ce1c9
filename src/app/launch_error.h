// Numbers that select the text of an error or warning box.
#pragma once

#include <cstdint>

enum LaunchError : uint32_t
{
    LauncherNotFound = 0,
    TargetPathNotFound = 1,
    LaunchFailed = 2,
    PrerequisitesFailed = 3,
    XpVistaUnsupported = 4,
    ServicePack1Required = 5,
    Windows7And8Unsupported = 6,
    LauncherOutOfDate = 7,
    GameExecutableNotFound = 8,
    UninstallCanceled = 9,
    MetadataLoadFailed = 10,
};
