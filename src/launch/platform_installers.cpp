#include "launch/platform_installers.h"

#include "app/launcher_location.h"
#include "app/messages.h"
#include "app/title_metadata_access.h"
#include "launch/process_launch.h"
#include "metadata/metadata_enums.h"
#include "options/switches.h"

#include <string>

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
    // Relative paths resolve against the working directory, the game's folder.
    if (!LaunchProcess(program.c_str(), parameters, true, true))
    {
        ShowError(PrerequisitesFailed);
        return false;
    }
    return true;
}
