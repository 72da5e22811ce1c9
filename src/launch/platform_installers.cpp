#include "launch/platform_installers.h"

#include "app/messages.h"
#include "app/title_metadata_access.h"
#include "launch/installer_signature.h"
#include "launch/installer_signature_win.h"
#include "launch/launch_plan.h"
#include "launch/process_launch.h"
#include "log/stub_log.h"
#include "options/switches.h"
#include "util/files.h"
#include "util/system_library.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include <windows.h>

#include <string>

namespace
{
// The launch plan's view of the game folder: the working directory.
class WorkingFolder final : public LaunchPlan::FolderProbe
{
public:
    bool FileExists(const std::string& path) override { return ::FileExists(ToWide(path)); }
};

// The installer's path made absolute against the working directory (the
// game's folder), so that the file checked is the file started and no search
// of the program path can put another in its place. Pure path arithmetic.
std::wstring AbsoluteInstallerPath(const std::wstring& program)
{
    std::wstring full(MAX_PATH, L'\0');
    for (;;)
    {
        const DWORD length =
            GetFullPathNameW(program.c_str(), static_cast<DWORD>(full.size()), &full[0], nullptr);
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
std::string RefusalReason(const std::wstring& program, LaunchPlan::InstallerCheck check, FileHandle& heldOpen)
{
    if (check == LaunchPlan::InstallerCheck::RefusedPath || LaunchPlan::NamesNetworkOrDevice(program))
        return "names a network or device location";
    if (check == LaunchPlan::InstallerCheck::None)
        return std::string(); // a build without a signer policy checks nothing
    // Where the DLL search cannot be kept to the system folder, the trust
    // provider itself could be a planted copy: elevate nothing.
    if (!RestrictDllSearchToSystemFolder())
        return "DLL search could not be restricted to the system folder";
    InstallerSignature signature;
    OpenAndReadInstallerSignature(program, signature, heldOpen);
    return InstallerRefusalReason(signature, InstallerSignerKeys());
}
} // namespace

bool RunPlatformInstallers()
{
    LaunchPlan::Installer installer;
    WorkingFolder folder;
    if (!LaunchPlan::PlanInstaller(TheTitleMetadata().GetGamePlatform(),
                                   TheTitleMetadata().GetSteamInstallerPath(), !InstallerSignerKeys().empty(),
                                   Switches::SkipInstallers.IsSet(), folder, installer))
        return true;
    std::wstring program = ToWide(installer.program);
    // The network test comes first: not even the path is resolved for one.
    if (installer.check != LaunchPlan::InstallerCheck::RefusedPath)
        program = AbsoluteInstallerPath(program);
    FileHandle heldOpen;
    const std::string refusal = RefusalReason(program, installer.check, heldOpen);
    if (!refusal.empty())
    {
        StubLog::Printf("Installer refused: %ls: %s", program.c_str(), refusal.c_str());
        ShowError(PrerequisitesFailed);
        return false;
    }
    if (!LaunchProcess(program.c_str(), ToWide(installer.parameters).c_str(), true, true))
    {
        ShowError(PrerequisitesFailed);
        return false;
    }
    return true;
}
