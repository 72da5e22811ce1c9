#include "launch/platform_installers.h"

#include "app/launcher_location.h"
#include "app/messages.h"
#include "app/title_metadata_access.h"
#include "launch/installer_signature.h"
#include "launch/installer_signature_win.h"
#include "launch/process_launch.h"
#include "log/stub_log.h"
#include "metadata/metadata_enums.h"
#include "options/switches.h"
#include "util/system_library.h"
#include "util/win_handle.h"

#include <windows.h>

#include <string>

namespace
{
// "\\server\share", "\\?\UNC\server\share", "\\.\device" and the like: a
// path there is fetched from another machine (offering the player's
// credentials to it) or names a device, before anything could be checked.
bool NamesNetworkOrDevice(const std::wstring& path)
{
    const auto separator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    return path.size() >= 2 && separator(path[0]) && separator(path[1]);
}

// The installer's path made absolute against the working directory (the
// game's folder), so that the file checked is the file started and no search
// of the program path can put another in its place. Pure path arithmetic.
std::wstring AbsoluteInstallerPath(const std::wstring& program)
{
    std::wstring full(MAX_PATH, L'\0');
    for (;;)
    {
        const DWORD length = GetFullPathNameW(program.c_str(), static_cast<DWORD>(full.size()), &full[0], nullptr);
        if (length == 0)
            return program;
        if (length < full.size())
        {
            full.resize(length);
            return full;
        }
        full.resize(length);
    }
}

// Why an installer must not be elevated, or empty when it may; HELDOPEN keeps
// the checked file from being replaced until the installer has ended.
std::string RefusalReason(const std::wstring& program, FileHandle& heldOpen)
{
    if (NamesNetworkOrDevice(program))
        return "names a network or device location";
    const std::vector<std::string>& keys = InstallerSignerKeys();
    if (keys.empty())
        return std::string(); // a build without a signer policy checks nothing
    // Where the DLL search cannot be kept to the system folder, the trust
    // provider itself could be a planted copy: elevate nothing.
    if (!RestrictDllSearchToSystemFolder())
        return "DLL search could not be restricted to the system folder";
    InstallerSignature signature;
    OpenAndReadInstallerSignature(program, signature, heldOpen);
    return InstallerRefusalReason(signature, keys);
}
} // namespace

bool RunPlatformInstallers()
{
    if (Switches::SkipInstallers.IsSet())
        return true;

    std::wstring program;
    const wchar_t* parameters = L"";
    switch (TheTitleMetadata().GetGamePlatform())
    {
    case GamePlatform::Steam: // the launcher's own installer, silent
        GetRedistributablesFolder(program);
        program += L"\\Tavrin-Games-Launcher.exe";
        parameters = L"/s /t";
        break;
    case GamePlatform::Viveport:
        program = L"Installers\\Tavrin-Games-Vive.exe";
        break;
    case GamePlatform::Oculus:
        program = L"Installers\\Tavrin-Games-Oculus.exe";
        break;
    case GamePlatform::Epic:
        program = L"Redistributables\\Tavrin-Games-Epic.exe";
        break;
    default:
        return true;
    }
    // The network test comes first: not even the path is resolved for one.
    if (!NamesNetworkOrDevice(program))
        program = AbsoluteInstallerPath(program);
    FileHandle heldOpen;
    const std::string refusal = RefusalReason(program, heldOpen);
    if (!refusal.empty())
    {
        StubLog::Printf("Installer refused: %ls: %s", program.c_str(), refusal.c_str());
        ShowError(PrerequisitesFailed);
        return false;
    }
    if (!LaunchProcess(program.c_str(), parameters, true, true))
    {
        ShowError(PrerequisitesFailed);
        return false;
    }
    return true;
}
