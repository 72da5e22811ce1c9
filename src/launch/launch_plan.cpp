#include "launch/launch_plan.h"

#include "launch/launcher_switches.h"
#include "metadata/metadata_enums.h"
#include "metadata/metadata_search.h"
#include "metadata/title_metadata.h"
#include "util/text_convert.h"

namespace LaunchPlan
{
namespace
{
constexpr char kLauncherInstaller[] = "Tavrin-Games-Launcher.exe";

struct InstallerRow
{
    uint32_t platform;
    const char* inGameFolder;
    const char* parameters;
};

// Steam's is the launcher's own installer, run silently.
constexpr InstallerRow kInstallers[] = {
    {GamePlatform::Steam, "Redistributables\\Tavrin-Games-Launcher.exe", "/s /t"},
    {GamePlatform::Viveport, "Installers\\Tavrin-Games-Vive.exe", ""},
    {GamePlatform::Oculus, "Installers\\Tavrin-Games-Oculus.exe", ""},
    {GamePlatform::Epic, "Redistributables\\Tavrin-Games-Epic.exe", ""},
};

void AppendAscii(std::wstring& out, const char* text)
{
    while (*text)
        out += static_cast<wchar_t>(*text++);
}

// Decimal digits of an app id; the stub keeps the wide formatted-output
// runtime out of its executable for this one number.
void AppendDecimal(std::wstring& out, uint64_t value)
{
    wchar_t digits[24];
    size_t at = sizeof digits / sizeof digits[0];
    do
    {
        digits[--at] = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    } while (value != 0);
    out.append(digits + at, digits + sizeof digits / sizeof digits[0]);
}

void AppendQuoted(std::wstring& out, const wchar_t* option, const std::wstring& value)
{
    out += option;
    out += L" \"";
    out += value;
    out += L'"';
}
} // namespace

std::string MetadataRequest(const std::string& folder, char separator)
{
    std::string path = folder;
    if (path.empty() || path.back() != separator)
        path += separator;
    return path + GetMetadataFileName();
}

std::vector<std::string> MetadataPlaces(const std::string& folder, char separator)
{
    std::vector<std::string> places;
    VisitMetadataPlaces(MetadataRequest(folder, separator), separator,
                        [&places](const std::string& place)
                        {
                            places.push_back(place);
                            return false;
                        });
    return places;
}

InstallerRuns WhenInstallerRuns(uint32_t platform)
{
    switch (platform)
    {
    case GamePlatform::Steam:
        return InstallerRuns::WhileLauncherNotInstalled;
    case GamePlatform::Viveport:
    case GamePlatform::Oculus:
    case GamePlatform::Epic:
        return InstallerRuns::WhileLauncherNotRunning;
    default:
        return InstallerRuns::Never;
    }
}

bool IsPlatformHeldToMinimum(uint32_t platform)
{
    return WhenInstallerRuns(platform) != InstallerRuns::Never;
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

bool PlanInstaller(uint32_t platform, const char* steamInstallerPath, bool signers, bool skipInstallers,
                   FolderProbe& folder, Installer& out)
{
    out = Installer();
    if (skipInstallers)
        return false;
    for (const InstallerRow& row : kInstallers)
    {
        if (row.platform != platform)
            continue;
        out.inGameFolder = row.inGameFolder;
        out.parameters = row.parameters;
        out.fallsBack = platform == GamePlatform::Steam;
        out.program = row.inGameFolder;
        // The stub always adds the separator, so an empty path names the
        // root of the working directory's drive.
        if (out.fallsBack && !folder.FileExists(out.program))
            out.program =
                std::string(steamInstallerPath ? steamInstallerPath : "") + '\\' + kLauncherInstaller;
        out.check = NamesNetworkOrDevice(out.program) ? InstallerCheck::RefusedPath
                    : signers                         ? InstallerCheck::Signer
                                                      : InstallerCheck::None;
        return true;
    }
    return false;
}

LauncherCall PlanLauncherCall(TitleMetadata& metadata, const std::wstring& targetFolder,
                              const std::wstring* ownArguments)
{
    LauncherCall call;
    std::wstring& line = call.commandLine;
    line = L"-skipPatcherCheck";
    const uint32_t platform = metadata.GetGamePlatform();
    if (const char* titleSwitch = TitleIdSwitch(platform))
    {
        line += L' ';
        AppendAscii(line, titleSwitch);
        line += ToWide(metadata.GetTitleId());
    }
    switch (platform)
    {
    case GamePlatform::Default:
    case GamePlatform::Oculus:
        break;
    case GamePlatform::Steam:
    {
        call.logLine = "Preparing Steam launch";
        // An empty list has no first id to pass; the location still goes.
        const AppIdList& appIds = metadata.GetSteamAppIds();
        if (appIds.Count() > 0)
        {
            line += L" -steamAppId=";
            AppendDecimal(line, appIds.At(appIds.Begin().index));
        }
        AppendQuoted(line, L" -steamLocation", targetFolder);
        break;
    }
    case GamePlatform::Viveport:
        AppendQuoted(line, L" -viveportLocation", targetFolder);
        call.environmentName = L"ViveportLocation";
        break;
    case GamePlatform::Epic:
        call.logLine = "Preparing Epic launch";
        break;
    default: // disk and anything unknown
        call.logLine = "Unknown External Platform Launch";
        break;
    }
    // The player's own arguments go on verbatim; the domain environment only
    // with them.
    if (ownArguments)
    {
        line += L' ';
        line += *ownArguments;
        if (metadata.GetEnvironment() != kMetadataUnset)
        {
            line += L" -vexilDomainEnv=";
            line += ToWide(metadata.GetEnvironmentName());
        }
    }
    line += L" @args.txt";
    return call;
}
} // namespace LaunchPlan
