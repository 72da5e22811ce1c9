#include "app/main_flow.h"

#include "app/launch_error.h"
#include "app/launcher_location.h"
#include "app/messages.h"
#include "app/system_checks.h"
#include "app/title_metadata_access.h"
#include "launch/launch_plan.h"
#include "launch/platform_installers.h"
#include "launch/process_launch.h"
#include "log/metadata_log_bridge.h"
#include "log/stub_log.h"
#include "options/switches.h"
#include "util/files.h"
#include "util/process.h"

#include <windows.h>

namespace
{
constexpr const char* kBuildName = "Quorin";

// Loads title.kvo: the bare name first (which the loader refuses), then the
// places the launch plan names from the executable's folder.
bool LoadTitleMetadata()
{
    TitleMetadata& metadata = TheTitleMetadata();
    if (metadata.LoadFromFile(GetMetadataFileName()) == MetadataStatus::Ok)
        return true;
    char folder[libutil::kProcessLocationSize] = {};
    if (!libutil::GetCurrentProcessLocation(folder))
        return false;
    // No length limit here: a deep install folder must still find its file.
    return metadata.LoadFromFile(LaunchPlan::MetadataRequest(folder).c_str()) == MetadataStatus::Ok;
}

// Shows a warning or an error for the Windows version; false ends the flow.
bool CheckWindowsVersion()
{
    if (!IsWindows7OrGreater())
    {
        ShowWarning(XpVistaUnsupported);
        return true;
    }
    if (!IsWindows7Sp1OrGreater())
    {
        ShowWarning(ServicePack1Required);
        return true;
    }
    if (!IsWindows10OrGreater())
    {
        ShowError(Windows7And8Unsupported);
        return false;
    }
    return true;
}

// The plan's command line; its environment variable is set here, in the
// environment the launcher inherits.
std::wstring BuildLauncherCommandLine(const std::wstring& targetFolder)
{
    std::wstring ownArguments;
    const bool hasOwn = GetOwnArgumentText(ownArguments);
    LaunchPlan::LauncherCall call =
        LaunchPlan::PlanLauncherCall(TheTitleMetadata(), targetFolder, hasOwn ? &ownArguments : nullptr);
    if (call.logLine)
        StubLog::Printf("%s", call.logLine);
    if (call.environmentName)
        SetEnvironmentVariableW(call.environmentName, targetFolder.c_str());
    return call.commandLine;
}
} // namespace

bool ExtractOwnArgumentText(const wchar_t* fullCommandLine, std::wstring& arguments)
{
    if (!fullCommandLine || !*fullCommandLine)
        return false;
    const std::wstring text(fullCommandLine);
    if (text[0] == L'"')
    {
        const size_t end = text.find(L"\" ");
        if (end == std::wstring::npos)
            return false;
        arguments = text.substr(end + 2);
        return true;
    }
    const size_t space = text.find(L' ');
    if (space == std::wstring::npos)
        return false;
    arguments = text.substr(space + 1);
    return true;
}

bool GetOwnArgumentText(std::wstring& arguments)
{
    return ExtractOwnArgumentText(GetCommandLineW(), arguments);
}

void RunMainFlow()
{
    if (!LoadTitleMetadata())
    {
        StubLog::Printf("Problem loading metadata from disk!");
        ShowError(MetadataLoadFailed);
        return;
    }
    StubLog::Printf("Running %s build.", kBuildName);

    if (!CheckWindowsVersion())
        return;

    if (Switches::ForcePrereleaseCheck.IsSet())
    {
        std::wstring game;
        if (!GetGameExecutablePath(game) || !FileExists(game.c_str()))
        {
            ShowError(GameExecutableNotFound);
            return;
        }
    }

    std::wstring launcherPath;
    LocateLauncher(launcherPath); // stays empty when the launcher is not found
    if (IsLauncherInstallNeeded())
    {
        if (!IsLauncherRunning(launcherPath) && !RunPlatformInstallers())
            return; // the installer step has shown its message
        LocateLauncher(launcherPath);
    }

    std::wstring targetFolder;
    if (!GetTargetFolder(targetFolder))
    {
        ShowError(TargetPathNotFound);
        return;
    }
    const std::wstring commandLine = BuildLauncherCommandLine(targetFolder);

    std::wstring target;
    if (Switches::LaunchDirectly.IsSet())
    {
        if (!GetGameExecutablePath(target))
        {
            ShowError(LauncherNotFound);
            return;
        }
    }
    else
    {
        target = launcherPath;
        if (target.empty())
        {
            ShowError(LauncherNotFound);
            return;
        }
        // A launcher whose version cannot be read is started anyway.
        bool versionUnreadable = false;
        if (!IsLauncherVersionAcceptable(target.c_str(), versionUnreadable) && !versionUnreadable)
        {
            ShowError(LauncherOutOfDate);
            return;
        }
    }

    if (LaunchProcess(target.c_str(), commandLine.c_str(), false, true))
        StubLog::Printf("Launch finished.");
    else
        ShowError(LaunchFailed);
}

int RunStub(const wchar_t* commandLine)
{
    OptionRegistry::Instance().Parse(commandLine);
    const bool logging = Switches::StubLogEnabled.IsSet();
    if (logging)
    {
        SetMetadataLogCallback(MetadataLogBridge);
        StubLog::Create(DirectFile, L"stub.log");
    }
    SetTitleMetadata(CreateTitleMetadata());
    StubLog::Printf("Launching...");
    RunMainFlow();
    if (logging)
        StubLog::Close();
    return 0;
}
