// The stub's rules in one place, with no system call: from the metadata, the
// switches and what the game folder holds, where the stub looks for
// title.kvo, which installer it runs and how, and the launcher's command
// line. The stub carries the plan out; kvotool doctor describes it.
#pragma once

#include "util/files.h"

#include <cstdint>
#include <string>
#include <vector>

class TitleMetadata;

namespace LaunchPlan
{
// What the plan asks of the folder: whether a file (not a folder) exists at
// PATH, named as the stub names it ("\" separates; relative to the working
// directory, the game folder). The stub asks the system, doctor the folder it
// inspects.
class FolderProbe
{
public:
    virtual bool FileExists(const std::string& path) = 0;

protected:
    ~FolderProbe() = default;
};

// The path the stub asks the loader for when its executable lies in FOLDER
// (no trailing separator). It asks for the bare name first, which names no
// place.
std::string MetadataRequest(const std::string& folder, char separator = '\\');
// The places the loader then tries, in order.
std::vector<std::string> MetadataPlaces(const std::string& folder, char separator = '\\');

// When the store front's installer runs: never, only while the launcher is
// not installed, or at every start while the launcher is not running.
enum class InstallerRuns
{
    Never,
    WhileLauncherNotInstalled,
    WhileLauncherNotRunning
};
InstallerRuns WhenInstallerRuns(uint32_t platform);

// The oldest launcher the store fronts that run an installer accept: an older
// one gets the out-of-date message instead of the launch.
constexpr FileVersion kMinimumLauncherVersion{1, 0, 3, 0};
// Whether a store front of this number holds the launcher to that version.
bool IsPlatformHeldToMinimum(uint32_t platform);
// Component-wise comparison from major to revision, as signed numbers.
bool IsVersionAtLeast(const FileVersion& version, const FileVersion& minimum);

// How an installer is checked before the player is asked to elevate it.
enum class InstallerCheck
{
    None,       // the build has no signer policy
    Signer,     // its signer must be one of the build's keys
    RefusedPath // a network or device path: refused before anything is read
};

struct Installer
{
    // As the stub names it: relative to its working directory (the game
    // folder, which the installer inherits as its own), or taken from
    // 'steamInstallerPath'. Empty when the store front has none.
    std::string program;
    const char* parameters = "";
    // Where the installer is looked for in the game folder first.
    const char* inGameFolder = "";
    // Steam only: a missing inGameFolder gives way to 'steamInstallerPath'.
    bool fallsBack = false;
    // The check of the path as named; the stub applies NamesNetworkOrDevice
    // again once the path is absolute (a game folder on a share).
    InstallerCheck check = InstallerCheck::None;
};

// The installer of PLATFORM, which the stub runs elevated and waits for (the
// launch goes on after exit code 0 only); false when the store front has none
// or the player gave -skipInstallers (SKIPINSTALLERS), and then the folder is
// not looked at. SIGNERS tells whether the build has a signer policy.
bool PlanInstaller(uint32_t platform, const char* steamInstallerPath, bool signers, bool skipInstallers,
                   FolderProbe& folder, Installer& out);

// Whether PATH names a network share or a device ("\\server\share",
// "\\?\UNC\...", "\\.\device"): fetched from another machine, or not a file.
template <class String>
bool NamesNetworkOrDevice(const String& path)
{
    const auto separator = [](typename String::value_type c) { return c == '\\' || c == '/'; };
    return path.size() >= 2 && separator(path[0]) && separator(path[1]);
}

// The launcher's command line, and what the launcher's environment gets.
struct LauncherCall
{
    std::wstring commandLine;
    // Set to the target folder in the launcher's environment; null for none.
    const wchar_t* environmentName = nullptr;
    // What the stub logs while preparing the store front's part; null for none.
    const char* logLine = nullptr;
};

// TARGETFOLDER is the game's folder (-forceTargetPath or the stub's own);
// OWNARGUMENTS the text after the stub's program name, null when there is none.
LauncherCall PlanLauncherCall(TitleMetadata& metadata, const std::wstring& targetFolder,
                              const std::wstring* ownArguments);
} // namespace LaunchPlan
