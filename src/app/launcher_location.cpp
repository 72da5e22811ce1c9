#include "app/launcher_location.h"

#include "app/title_metadata_access.h"
#include "launch/launch_plan.h"
#include "options/switches.h"
#include "util/files.h"
#include "util/process.h"
#include "util/text_convert.h"

#include <windows.h>

namespace
{
constexpr const wchar_t* kLauncherExeSuffix = L"\\Launcher.exe";
constexpr DWORD kRegistryBufferBytes = 2048;
constexpr DWORD kModulePathUnits = 2048;
} // namespace

bool LocateLauncher(std::wstring& path)
{
    const std::wstring& forced = Switches::ForceLauncherPath.Value();
    if (!forced.empty())
    {
        path = forced;
        return true;
    }
    wchar_t buffer[kRegistryBufferBytes / sizeof(wchar_t)] = {};
    DWORD size = kRegistryBufferBytes;
    // The key names the 32-bit view itself, so no view flag is added.
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kLauncherRegistryKey, kLauncherRegistryValue, RRF_RT_REG_SZ, nullptr,
                     buffer, &size) != ERROR_SUCCESS)
        return false;
    path = buffer;
    path += kLauncherExeSuffix;
    return true;
}

bool GetTargetFolder(std::wstring& folder)
{
    const std::wstring& forced = Switches::ForceTargetPath.Value();
    if (!forced.empty())
    {
        folder = forced;
        return true;
    }
    wchar_t buffer[kModulePathUnits] = {};
    const DWORD length = GetModuleFileNameW(nullptr, buffer, kModulePathUnits);
    if (length == 0)
        return false;
    std::wstring path(buffer, length);
    const size_t separator = path.find_last_of(L"\\/");
    if (separator != std::wstring::npos)
        path.erase(separator);
    folder = path;
    return true;
}

bool GetGameExecutablePath(std::wstring& path)
{
    path.clear();
    std::wstring folder;
    if (!GetTargetFolder(folder))
        return false;
    const std::wstring fileName = ToWide(TheTitleMetadata().GetPrincipalFileName());
    if (fileName.empty())
    {
        path = folder;
        return false;
    }
    path = folder + L"\\" + fileName;
    return true;
}

bool IsLauncherInstallNeeded()
{
    switch (LaunchPlan::WhenInstallerRuns(TheTitleMetadata().GetGamePlatform()))
    {
    case LaunchPlan::InstallerRuns::WhileLauncherNotRunning:
        return true;
    case LaunchPlan::InstallerRuns::WhileLauncherNotInstalled:
    {
        std::wstring launcher;
        return !LocateLauncher(launcher) || !FileExists(launcher.c_str());
    }
    default:
        return false;
    }
}

bool IsLauncherRunning(const std::wstring& launcherPath)
{
    return FileExists(launcherPath.c_str()) && libutil::IsProcessRunning(launcherPath.c_str());
}
