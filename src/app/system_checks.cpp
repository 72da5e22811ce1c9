#include "app/system_checks.h"

#include "app/title_metadata_access.h"
#include "launch/launch_plan.h"
#include "metadata/metadata_enums.h"
#include "options/switches.h"
#include "util/files.h"

#include <windows.h>

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
    return VerifyVersionInfoW(&info, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, mask) !=
           FALSE;
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
    if (!LaunchPlan::IsPlatformHeldToMinimum(TheTitleMetadata().GetGamePlatform()))
        return true;
    return LaunchPlan::IsVersionAtLeast(version, LaunchPlan::kMinimumLauncherVersion);
}
