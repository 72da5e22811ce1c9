#include "app/system_checks.h"

#include "app/title_metadata_access.h"
#include "metadata/metadata_enums.h"
#include "options/switches.h"
#include "util/files.h"

#include <windows.h>

namespace
{
FileVersion MinimumLauncherVersion()
{
    FileVersion minimum;
    minimum.Major = 1;
    minimum.Minor = 0;
    minimum.Build = 3;
    minimum.Revision = 0;
    return minimum;
}
}

bool IsWindowsVersionOrGreater(uint16_t major, uint16_t minor, uint16_t servicePackMajor)
{
    OSVERSIONINFOEXW info = {};
    info.dwOSVersionInfoSize = sizeof info;
    info.dwMajorVersion = major;
    info.dwMinorVersion = minor;
    info.wServicePackMajor = servicePackMajor;
    ULONGLONG mask = 0;
    mask = VerSetConditionMask(mask, VER_MAJORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&info, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, mask) != FALSE;
}

bool IsWindows7OrGreater()
{
    // The failure switch wins when both of a pair are given.
    if (Switches::ForceXpVistaFailure.IsSet())
        return false;
    if (Switches::ForceXpVistaSuccess.IsSet())
        return true;
    return IsWindowsVersionOrGreater(6, 1, 0);
}

bool IsWindows7Sp1OrGreater()
{
    if (Switches::ForceSP1Failure.IsSet())
        return false;
    if (Switches::ForceSP1Success.IsSet())
        return true;
    return IsWindowsVersionOrGreater(6, 1, 1);
}

bool IsWindows10OrGreater()
{
    return IsWindowsVersionOrGreater(10, 0, 0);
}

bool IsVersionAtLeast(const FileVersion& version, const FileVersion& minimum)
{
    const int32_t have[4] = {version.Major, version.Minor, version.Build, version.Revision};
    const int32_t need[4] = {minimum.Major, minimum.Minor, minimum.Build, minimum.Revision};
    for (int i = 0; i < 4; ++i)
    {
        if (have[i] != need[i])
            return have[i] > need[i];
    }
    return true;
}

bool IsPlatformHeldToMinimum(uint32_t gamePlatform)
{
    return gamePlatform == GamePlatform::Steam || gamePlatform == GamePlatform::Viveport ||
           gamePlatform == GamePlatform::Oculus || gamePlatform == GamePlatform::Epic;
}

bool IsLauncherVersionAcceptable(const wchar_t* launcherPath, bool& versionUnreadable)
{
    if (Switches::ForceOldKvoFailure.IsSet())
        return false;
    FileVersion version;
    if (!GetFileVersion(launcherPath, version))
    {
        versionUnreadable = true;
        return false;
    }
    if (!IsPlatformHeldToMinimum(TheTitleMetadata().GetGamePlatform()))
        return true;
    return IsVersionAtLeast(version, MinimumLauncherVersion());
}
