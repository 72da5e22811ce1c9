// End-to-end runs of the real stub executable: each case builds a game folder
// (paths with blanks), writes title.kvo, places recording stand-ins for the
// launcher, the game and the installers, sets the registry value and the
// reported Windows version, starts the stub with an exact command line and
// judges what the stand-ins recorded and what stub.log says.
#include "metadata/metadata_container.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <shlobj.h>

#include <string>
#include <vector>

namespace
{
const wchar_t* const kStubExeName = KVO_E2E_STUB_EXE;
const wchar_t* const kLauncherKey = L"SOFTWARE\\WOW6432Node\\Tavrin Games\\Launcher";
const wchar_t* const kVendorKey = L"SOFTWARE\\WOW6432Node\\Tavrin Games";
const wchar_t* const kAppDefaultsKey = L"Software\\Wine\\AppDefaults";
const wchar_t* const kLauncherRel = L"Launcher Home\\Launcher.exe";
const wchar_t* const kGameRel = L"Game Folder";
const DWORD kRunTimeoutMs = 60000;

enum class LauncherFile
{
    Missing,
    Unversioned,
    V1_0_2_999,
    V1_0_3_0,
    V2_0_0_0,
};

enum class MetadataPlace
{
    BesideContainer,
    BesidePlain,
    TwoAboveContainer,
    Missing,
    WorkingDirOnly,
    Corrupt,
};

struct Installer
{
    std::wstring path; // relative to the game folder, or starting with {root}
    int exitCode;
    bool installsLauncher;
};

struct E2eCase
{
    std::string name;
    std::string metadata; // members added to the base document
    std::string dropMember; // a member of the base document left out
    std::wstring commandLine = L"\"{exe}\" -stub_log";
    MetadataPlace place = MetadataPlace::BesideContainer;
    LauncherFile launcher = LauncherFile::V1_0_3_0;
    bool registered = true;
    int launcherExit = 0;
    bool launcherRunning = false;
    bool gameExe = true;
    std::vector<Installer> installers;
    const wchar_t* windowsVersion = nullptr; // Wine version name for the stub only

    // "<program relative to the case root>|<arguments after the program>", in order.
    std::vector<std::wstring> runs;
    std::wstring viveportLocation = L"<unset>"; // as the last program saw it
    unsigned errorText = 0;
    unsigned warningText = 0;
    std::vector<std::string> logLines;
    bool expectNoLogFile = false;
};

std::ostream& operator<<(std::ostream& out, const E2eCase& c)
{
    return out << c.name;
}

std::vector<E2eCase> Cases()
{
    std::vector<E2eCase> cases;
    auto add = [&cases](const char* name) -> E2eCase& {
        cases.emplace_back();
        cases.back().name = name;
        return cases.back();
    };
    auto launcherRun = [](const std::wstring& args) { return std::wstring(kLauncherRel) + L"|" + args; };
    const std::wstring gameRun = L"Game Folder\\Game.exe|";

    // Store fronts and the launcher's command line.
    {
        auto& c = add("DefaultPlatform");
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log @args.txt")};
        c.logLines = {"Launching...", "Running Quorin build.", "Launch succeeded", "Application exited with code 0",
                      "Launch finished."};
    }
    {
        auto& c = add("DomainEnvironment");
        c.metadata = R"("environment":"prod")";
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log -vexilDomainEnv=prod @args.txt")};
    }
    {
        auto& c = add("NoArgumentsNoOwnText");
        c.metadata = R"("environment":"prod")";
        c.commandLine = L"\"{exe}\"";
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 @args.txt")};
        c.expectNoLogFile = true;
    }
    {
        auto& c = add("TrailingBlankOnly");
        c.metadata = R"("environment":"dev")";
        c.commandLine = L"\"{exe}\" ";
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1  -vexilDomainEnv=dev @args.txt")};
        c.expectNoLogFile = true;
    }
    {
        auto& c = add("OwnArgumentsVerbatim");
        c.commandLine = L"\"{exe}\" -STUB_LOG -Unknown \"Quoted Arg\" @other.txt  -Force64Bit";
        c.runs = {launcherRun(
            L"-skipPatcherCheck -minmodeApp=T1 -STUB_LOG -Unknown \"Quoted Arg\" @other.txt  -Force64Bit @args.txt")};
    }
    {
        auto& c = add("Steam");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[111,222])";
        c.installers = {{L"Redistributables\\Tavrin-Games-Launcher.exe", 0, false}};
        c.runs = {launcherRun(L"-skipPatcherCheck -steamAppId=111 -steamLocation \"{target}\" -stub_log @args.txt")};
        c.logLines = {"Preparing Steam launch", "Launch finished."};
    }
    {
        auto& c = add("SteamHexAppIdPassedInDecimal");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":["0x1F4"])";
        c.runs = {launcherRun(L"-skipPatcherCheck -steamAppId=500 -steamLocation \"{target}\" -stub_log @args.txt")};
    }
    {
        auto& c = add("SteamWithoutAppIds");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[])";
        c.runs = {launcherRun(L"-skipPatcherCheck -steamLocation \"{target}\" -stub_log @args.txt")};
    }
    {
        auto& c = add("SteamForcedTargetPath");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[7])";
        c.commandLine = L"\"{exe}\" -stub_log -forceTargetPath \"C:\\Forced Place\\Dir\"";
        c.runs = {launcherRun(L"-skipPatcherCheck -steamAppId=7 -steamLocation \"c:\\forced place\\dir\" -stub_log "
                              L"-forceTargetPath \"C:\\Forced Place\\Dir\" @args.txt")};
    }
    {
        auto& c = add("Viveport");
        c.metadata = R"("gamePlatform":"viveport")";
        c.installers = {{L"Installers\\Tavrin-Games-Vive.exe", 0, false}};
        c.runs = {L"Game Folder\\Installers\\Tavrin-Games-Vive.exe|",
                  launcherRun(L"-skipPatcherCheck -viveportApp=T1 -viveportLocation \"{target}\" -stub_log @args.txt")};
        c.viveportLocation = L"{target}";
    }
    {
        auto& c = add("Oculus");
        c.metadata = R"("gamePlatform":"oculus")";
        c.installers = {{L"Installers\\Tavrin-Games-Oculus.exe", 0, false}};
        c.runs = {L"Game Folder\\Installers\\Tavrin-Games-Oculus.exe|",
                  launcherRun(L"-skipPatcherCheck -oculusApp=T1 -stub_log @args.txt")};
    }
    {
        auto& c = add("Epic");
        c.metadata = R"("gamePlatform":"epic","epicSdkVersion":3,"epicProductId":"P")";
        c.installers = {{L"Redistributables\\Tavrin-Games-Epic.exe", 0, false}};
        c.runs = {L"Game Folder\\Redistributables\\Tavrin-Games-Epic.exe|",
                  launcherRun(L"-skipPatcherCheck -epicAppId=T1 -stub_log @args.txt")};
        c.logLines = {"Preparing Epic launch"};
    }
    {
        auto& c = add("Disk");
        c.metadata = R"("gamePlatform":"disk")";
        c.installers = {{L"Redistributables\\Tavrin-Games-Epic.exe", 0, false}};
        c.runs = {launcherRun(L"-skipPatcherCheck -stub_log @args.txt")};
        c.logLines = {"Unknown External Platform Launch"};
    }

    // Launch target switches.
    {
        auto& c = add("LaunchDirectly");
        c.commandLine = L"\"{exe}\" -stub_log -launchDirectly";
        c.launcher = LauncherFile::Missing;
        c.registered = false;
        c.runs = {gameRun + L"-skipPatcherCheck -minmodeApp=T1 -stub_log -launchDirectly @args.txt"};
    }
    {
        auto& c = add("LaunchDirectlyWithoutPrincipalFile");
        c.metadata = R"("principalFileName":"")";
        c.commandLine = L"\"{exe}\" -stub_log -launchDirectly";
        c.errorText = 202;
    }
    {
        auto& c = add("PrereleaseCheckGamePresent");
        c.commandLine = L"\"{exe}\" -stub_log -forcePrereleaseCheck";
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log -forcePrereleaseCheck @args.txt")};
    }
    {
        auto& c = add("PrereleaseCheckGameMissing");
        c.commandLine = L"\"{exe}\" -stub_log -forcePrereleaseCheck";
        c.gameExe = false;
        c.errorText = 210;
    }
    {
        auto& c = add("ForcedLauncherPath");
        c.registered = false;
        c.commandLine = L"\"{exe}\" -stub_log -forceLauncherPath \"{root}\\Launcher Home\\Launcher.exe\"";
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log -forceLauncherPath "
                              L"\"{root}\\Launcher Home\\Launcher.exe\" @args.txt")};
    }
    {
        auto& c = add("ForcedLauncherPathMissing");
        c.commandLine = L"\"{exe}\" -stub_log -forceLauncherPath=\"{root}\\Nowhere\\Launcher.exe\"";
        c.errorText = 204;
        c.logLines = {"Failed to launch process."};
    }
    {
        auto& c = add("LauncherNotRegistered");
        c.registered = false;
        c.errorText = 202;
    }
    {
        auto& c = add("RegisteredLauncherFileMissing");
        c.launcher = LauncherFile::Missing;
        c.errorText = 204;
    }

    // The launcher's minimum version per store front.
    {
        auto& c = add("SteamLauncherTooOld");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[1])";
        c.launcher = LauncherFile::V1_0_2_999;
        c.errorText = 209;
    }
    {
        auto& c = add("SteamLauncherNewer");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[1])";
        c.launcher = LauncherFile::V2_0_0_0;
        c.runs = {launcherRun(L"-skipPatcherCheck -steamAppId=1 -steamLocation \"{target}\" -stub_log @args.txt")};
    }
    {
        auto& c = add("SteamLauncherUnversioned");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[1])";
        c.launcher = LauncherFile::Unversioned;
        c.runs = {launcherRun(L"-skipPatcherCheck -steamAppId=1 -steamLocation \"{target}\" -stub_log @args.txt")};
    }
    {
        auto& c = add("EpicLauncherTooOld");
        c.metadata = R"("gamePlatform":"epic")";
        c.launcher = LauncherFile::V1_0_2_999;
        c.installers = {{L"Redistributables\\Tavrin-Games-Epic.exe", 0, false}};
        c.runs = {L"Game Folder\\Redistributables\\Tavrin-Games-Epic.exe|"};
        c.errorText = 209;
    }
    {
        auto& c = add("OculusLauncherTooOld");
        c.metadata = R"("gamePlatform":"oculus")";
        c.launcher = LauncherFile::V1_0_2_999;
        c.installers = {{L"Installers\\Tavrin-Games-Oculus.exe", 0, false}};
        c.runs = {L"Game Folder\\Installers\\Tavrin-Games-Oculus.exe|"};
        c.errorText = 209;
    }
    {
        auto& c = add("DiskLauncherOld");
        c.metadata = R"("gamePlatform":"disk")";
        c.launcher = LauncherFile::V1_0_2_999;
        c.runs = {launcherRun(L"-skipPatcherCheck -stub_log @args.txt")};
    }
    {
        auto& c = add("DefaultLauncherOld");
        c.launcher = LauncherFile::V1_0_2_999;
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log @args.txt")};
    }
    {
        auto& c = add("ForcedOldLauncherUnversioned");
        c.commandLine = L"\"{exe}\" -stub_log -forceOldKvoFailure";
        c.launcher = LauncherFile::Unversioned;
        c.errorText = 209;
    }
    {
        auto& c = add("LauncherExitsWithOne");
        c.launcherExit = 1;
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log @args.txt")};
        c.errorText = 204;
        c.logLines = {"Application exited with code 1"};
    }

    // Store-front installers.
    {
        auto& c = add("SteamInstallerPutsLauncherInPlace");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[5])";
        c.launcher = LauncherFile::Missing;
        c.installers = {{L"Redistributables\\Tavrin-Games-Launcher.exe", 0, true}};
        c.runs = {L"Game Folder\\Redistributables\\Tavrin-Games-Launcher.exe|/s /t",
                  launcherRun(L"-skipPatcherCheck -steamAppId=5 -steamLocation \"{target}\" -stub_log @args.txt")};
    }
    {
        auto& c = add("SteamInstallerFails");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[5])";
        c.launcher = LauncherFile::Missing;
        c.installers = {{L"Redistributables\\Tavrin-Games-Launcher.exe", 3, false}};
        c.runs = {L"Game Folder\\Redistributables\\Tavrin-Games-Launcher.exe|/s /t"};
        c.errorText = 205;
        c.logLines = {"Application exited with code 3"};
    }
    {
        auto& c = add("SteamInstallerFromMetadataFolder");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[5],"steamInstallerPath":"{root}\\Steam Inst")";
        c.registered = false;
        c.installers = {{L"{root}\\Steam Inst\\Tavrin-Games-Launcher.exe", 0, false}};
        c.runs = {L"Steam Inst\\Tavrin-Games-Launcher.exe|/s /t"};
        c.errorText = 202; // the stand-in installer registers nothing
    }
    {
        auto& c = add("SteamInstallerMissing");
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[5])";
        c.registered = false;
        c.errorText = 205;
        c.logLines = {"Failed to launch process."};
    }
    {
        auto& c = add("EpicSkipInstallers");
        c.metadata = R"("gamePlatform":"epic")";
        c.commandLine = L"\"{exe}\" -stub_log -skipInstallers";
        c.installers = {{L"Redistributables\\Tavrin-Games-Epic.exe", 0, false}};
        c.runs = {launcherRun(L"-skipPatcherCheck -epicAppId=T1 -stub_log -skipInstallers @args.txt")};
    }
    {
        auto& c = add("EpicLauncherAlreadyRunning");
        c.metadata = R"("gamePlatform":"epic")";
        c.launcherRunning = true;
        c.installers = {{L"Redistributables\\Tavrin-Games-Epic.exe", 0, false}};
        c.runs = {launcherRun(L"-skipPatcherCheck -epicAppId=T1 -stub_log @args.txt")};
        c.logLines = {"Launcher is already running."};
    }
    {
        auto& c = add("ViveportInstallerFails");
        c.metadata = R"("gamePlatform":"viveport")";
        c.installers = {{L"Installers\\Tavrin-Games-Vive.exe", 1, false}};
        c.runs = {L"Game Folder\\Installers\\Tavrin-Games-Vive.exe|"};
        c.errorText = 205;
    }
    {
        auto& c = add("DefaultPlatformRunsNoInstaller");
        c.installers = {{L"Redistributables\\Tavrin-Games-Launcher.exe", 0, false},
                        {L"Redistributables\\Tavrin-Games-Epic.exe", 0, false},
                        {L"Installers\\Tavrin-Games-Vive.exe", 0, false}};
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log @args.txt")};
    }

    // Windows version checks.
    {
        auto& c = add("WindowsXpWarns");
        c.windowsVersion = L"winxp";
        c.warningText = 207;
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log @args.txt")};
    }
    {
        auto& c = add("WindowsVistaWarns");
        c.windowsVersion = L"vista";
        c.warningText = 207;
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log @args.txt")};
    }
    {
        auto& c = add("Windows81Stops");
        c.windowsVersion = L"win81";
        c.errorText = 118;
    }
    {
        auto& c = add("Windows7Stops");
        c.windowsVersion = L"win7";
        c.errorText = 118;
    }
    {
        auto& c = add("ForcedXpVistaFailureWinsOverSuccess");
        c.commandLine = L"\"{exe}\" -stub_log -forceXpVistaSuccess -forceXpVistaFailure";
        c.warningText = 207;
        c.runs = {launcherRun(
            L"-skipPatcherCheck -minmodeApp=T1 -stub_log -forceXpVistaSuccess -forceXpVistaFailure @args.txt")};
    }
    {
        auto& c = add("ForcedSp1FailureOnWindows81");
        c.windowsVersion = L"win81";
        c.commandLine = L"\"{exe}\" -stub_log -forceSP1Failure";
        c.warningText = 208;
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log -forceSP1Failure @args.txt")};
    }
    {
        auto& c = add("ForcedXpVistaSuccessOnXp");
        c.windowsVersion = L"winxp";
        c.commandLine = L"\"{exe}\" -stub_log -forceXpVistaSuccess";
        c.warningText = 208; // XP has no Windows 7 service pack
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log -forceXpVistaSuccess @args.txt")};
    }

    {
        auto& c = add("ForcedPassesOnXpMeetWindows10Check");
        c.windowsVersion = L"winxp";
        c.commandLine = L"\"{exe}\" -stub_log -forceXpVistaSuccess -forceSP1Success";
        c.errorText = 118; // both forced checks pass, so the Windows 10 check runs
    }

    // Finding the metadata.
    {
        auto& c = add("PlainJsonMetadata");
        c.place = MetadataPlace::BesidePlain;
        c.runs = {launcherRun(L"-skipPatcherCheck -minmodeApp=T1 -stub_log @args.txt")};
    }
    {
        auto& c = add("MetadataTwoFoldersAbove");
        c.place = MetadataPlace::TwoAboveContainer;
        c.metadata = R"("gamePlatform":"steam","steamAppIds":[9])";
        c.runs = {L"Launcher Home\\Launcher.exe|-skipPatcherCheck -steamAppId=9 -steamLocation \"{target}\" -stub_log "
                  L"@args.txt"};
    }
    {
        auto& c = add("MetadataMissing");
        c.place = MetadataPlace::Missing;
        c.errorText = 299;
        c.logLines = {"Problem loading metadata from disk!"};
    }
    {
        auto& c = add("MetadataOnlyInWorkingDirectory");
        c.place = MetadataPlace::WorkingDirOnly;
        c.errorText = 299;
    }
    {
        auto& c = add("MetadataCorrupt");
        c.place = MetadataPlace::Corrupt;
        c.errorText = 299;
    }
    {
        auto& c = add("MetadataWithoutTitleId");
        c.dropMember = R"("titleId":"T1",)";
        c.errorText = 299;
    }
    return cases;
}

// ---------------------------------------------------------------------------

std::wstring ParentOf(const std::wstring& path)
{
    return path.substr(0, path.find_last_of(L'\\'));
}

std::wstring BinFolder()
{
    wchar_t path[4096] = {};
    GetModuleFileNameW(nullptr, path, 4096);
    return ParentOf(path);
}

void ReplaceAll(std::wstring& text, const std::wstring& from, const std::wstring& to)
{
    for (size_t at = text.find(from); at != std::wstring::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

bool WriteBytes(const std::wstring& path, const std::string& bytes)
{
    FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return file && WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

bool ReadBytes(const std::wstring& path, std::string& bytes)
{
    FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;
    bytes.clear();
    char buffer[4096];
    DWORD read = 0;
    while (ReadFile(file.Get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
        bytes.append(buffer, read);
    return true;
}

void MakeFolders(const std::wstring& path)
{
    for (size_t at = path.find(L'\\', 3); at != std::wstring::npos; at = path.find(L'\\', at + 1))
        CreateDirectoryW(path.substr(0, at).c_str(), nullptr);
    CreateDirectoryW(path.c_str(), nullptr);
}

void RemoveTree(const std::wstring& path)
{
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW((path + L"\\*").c_str(), &data);
    if (find != INVALID_HANDLE_VALUE)
    {
        do
        {
            const std::wstring name = data.cFileName;
            if (name == L"." || name == L"..")
                continue;
            const std::wstring child = path + L"\\" + name;
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                RemoveTree(child);
            else
                DeleteFileW(child.c_str());
        } while (FindNextFileW(find, &data));
        FindClose(find);
    }
    RemoveDirectoryW(path.c_str());
}

std::wstring LocalAppDataFolder()
{
    PWSTR folder = nullptr;
    std::wstring result;
    if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder)))
        result = folder;
    CoTaskMemFree(folder);
    return result;
}

std::wstring StubLogPath()
{
    return LocalAppDataFolder() + L"\\Tavrin Games\\Launcher\\stub.log";
}

std::wstring LoadStubText(unsigned id)
{
    static HMODULE stub = LoadLibraryExW((BinFolder() + L"\\" + kStubExeName).c_str(), nullptr,
                                         LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    wchar_t buffer[512] = {};
    const int length = LoadStringW(stub, id, buffer, 512);
    return length > 0 ? std::wstring(buffer, static_cast<size_t>(length)) : std::wstring();
}

struct Record
{
    std::wstring program;
    std::wstring commandLine;
    std::wstring cwd;
    std::wstring viveportLocation;
};

std::vector<Record> ReadRecords(const std::wstring& path)
{
    std::vector<Record> records;
    std::string text;
    if (!ReadBytes(path, text))
        return records;
    Record current;
    size_t start = 0;
    while (start < text.size())
    {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        const size_t eq = line.find('=');
        const std::string key = line.substr(0, eq);
        const std::wstring value = eq == std::string::npos ? L"" : ToWide(line.substr(eq + 1));
        if (key == "program")
            current.program = value;
        else if (key == "commandLine")
            current.commandLine = value;
        else if (key == "cwd")
            current.cwd = value;
        else if (key == "viveportLocation")
            current.viveportLocation = value;
        else if (key == "end")
            records.push_back(current), current = Record();
    }
    return records;
}

// The arguments after the program part of a command line the shell built.
std::wstring ArgumentsOf(const std::wstring& commandLine)
{
    size_t end = 0;
    if (!commandLine.empty() && commandLine[0] == L'"')
        end = commandLine.find(L'"', 1) + 1;
    else
        end = commandLine.find(L' ');
    if (end == std::wstring::npos || end >= commandLine.size())
        return L"";
    return commandLine.substr(end + 1);
}

// Wide text as the log writes it: the runtime narrows "%ls" in the "C"
// locale, one byte per character.
std::string NarrowLikeLog(const std::wstring& text)
{
    std::string narrow;
    for (wchar_t c : text)
        narrow += c <= 0xFF ? static_cast<char>(c) : '?';
    return narrow;
}

std::vector<std::string> ReadLogLines(const std::wstring& path, bool& exists)
{
    std::vector<std::string> lines;
    std::string text;
    exists = ReadBytes(path, text);
    size_t start = 0;
    while (start < text.size())
    {
        // Lines end with CR LF; a message text may hold line feeds of its own.
        size_t end = text.find("\r\n", start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 2;
        // Drop the time stamp "[yyyy-mm-dd hh:mm:ss.mmm] ".
        const size_t stamp = line.find("] ");
        if (!line.empty() && line[0] == '[' && stamp != std::string::npos)
            line = line.substr(stamp + 2);
        lines.push_back(line);
    }
    return lines;
}

// Registry state that the suite changes, restored when it ends.
class RegistryGuard
{
public:
    RegistryGuard()
    {
        m_HadVendorKey = KeyExists(HKEY_LOCAL_MACHINE, kVendorKey);
        DWORD size = sizeof m_SavedFolder;
        m_HadValue = RegGetValueW(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder", RRF_RT_REG_SZ, nullptr,
                                  m_SavedFolder, &size) == ERROR_SUCCESS;
        m_HadAppDefaults = KeyExists(HKEY_CURRENT_USER, AppDefaultsKey().c_str());
    }
    ~RegistryGuard()
    {
        if (m_HadValue)
            SetLauncherFolder(m_SavedFolder);
        else
            RemoveLauncherFolder();
        if (!m_HadVendorKey)
        {
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, kLauncherKey);
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, kVendorKey);
        }
        SetStubWindowsVersion(nullptr);
        if (!m_HadAppDefaults)
            RegDeleteKeyW(HKEY_CURRENT_USER, AppDefaultsKey().c_str());
    }
    RegistryGuard(const RegistryGuard&) = delete;
    RegistryGuard& operator=(const RegistryGuard&) = delete;

    static std::wstring AppDefaultsKey() { return std::wstring(kAppDefaultsKey) + L"\\" + kStubExeName; }

    static void SetLauncherFolder(const std::wstring& folder)
    {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder", REG_SZ, folder.c_str(),
                        static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)));
    }
    static void RemoveLauncherFolder() { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder"); }

    // The Windows version Wine reports to the stub's executable name only.
    static void SetStubWindowsVersion(const wchar_t* version)
    {
        const std::wstring key = AppDefaultsKey();
        if (!version)
        {
            RegDeleteKeyValueW(HKEY_CURRENT_USER, key.c_str(), L"Version");
            return;
        }
        RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), L"Version", REG_SZ, version,
                        static_cast<DWORD>((wcslen(version) + 1) * sizeof(wchar_t)));
    }

private:
    static bool KeyExists(HKEY root, const wchar_t* path)
    {
        HKEY key = nullptr;
        if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
            return false;
        RegCloseKey(key);
        return true;
    }

    bool m_HadVendorKey = false;
    bool m_HadValue = false;
    bool m_HadAppDefaults = false;
    wchar_t m_SavedFolder[1024] = {};
};

class StubE2e : public testing::TestWithParam<E2eCase>
{
protected:
    static void SetUpTestSuite()
    {
        // With a display, every message box would wait for a click.
        wchar_t display[256];
        s_HasDisplay = GetEnvironmentVariableW(L"DISPLAY", display, 256) != 0;
        if (s_HasDisplay)
            return;
        s_Guard = new RegistryGuard();
        // The log sink does not create its folder; remove it again only if it is ours.
        const std::wstring logFolder = ParentOf(StubLogPath());
        s_CreatedLogFolder = GetFileAttributesW(logFolder.c_str()) == INVALID_FILE_ATTRIBUTES;
        MakeFolders(logFolder);
        s_Base = BinFolder() + L"\\stub e2e work";
        RemoveTree(s_Base);
        MakeFolders(s_Base);
    }
    static void TearDownTestSuite()
    {
        if (s_HasDisplay)
            return;
        delete s_Guard;
        s_Guard = nullptr;
        RemoveTree(s_Base);
        if (s_CreatedLogFolder)
        {
            DeleteFileW(StubLogPath().c_str());
            RemoveDirectoryW(ParentOf(StubLogPath()).c_str());
            RemoveDirectoryW(ParentOf(ParentOf(StubLogPath())).c_str());
        }
    }

    std::wstring Expand(std::wstring text) const
    {
        ReplaceAll(text, L"{exe}", m_Exe);
        ReplaceAll(text, L"{root}", m_Root);
        ReplaceAll(text, L"{target}", m_Target);
        return text;
    }

    std::string MetadataDocument(const E2eCase& c) const
    {
        std::wstring root = m_Root;
        ReplaceAll(root, L"\\", L"\\\\"); // inside a JSON text
        std::string extra = c.metadata;
        const std::string rootUtf8 = ToUtf8(root);
        for (size_t at = extra.find("{root}"); at != std::string::npos; at = extra.find("{root}", at + 1))
            extra.replace(at, 6, rootUtf8);
        std::string base = R"("titleId":"T1","friendlyName":"Sample Title","principalFileName":"Game.exe",)"
                           R"("appdataFolderName":"Sample","installFolderRegKey":"SOFTWARE\\Sample",)"
                           R"("installFolderRegValueName":"InstallDir","languages":["en"]})";
        if (!c.dropMember.empty())
            base.erase(base.find(c.dropMember), c.dropMember.size());
        // A member given again in `extra` comes first: the first of a name wins.
        return "{" + (extra.empty() ? std::string() : extra + ",") + base;
    }

    void Copy(const wchar_t* program, const std::wstring& to) const
    {
        MakeFolders(ParentOf(to));
        ASSERT_TRUE(CopyFileW((BinFolder() + L"\\" + program).c_str(), to.c_str(), FALSE)) << ToUtf8(to);
    }

    static const wchar_t* LauncherProgram(LauncherFile kind)
    {
        switch (kind)
        {
        case LauncherFile::V1_0_2_999: return L"e2e_recorder_1_0_2_999.exe";
        case LauncherFile::V1_0_3_0: return L"e2e_recorder_1_0_3_0.exe";
        case LauncherFile::V2_0_0_0: return L"e2e_recorder_2_0_0_0.exe";
        default: return L"e2e_recorder.exe";
        }
    }

    void Prepare(const E2eCase& c)
    {
        static int counter = 0;
        m_Root = s_Base + L"\\case " + std::to_wstring(++counter) + L" " + ToWide(c.name);
        m_Game = m_Root + L"\\" + kGameRel;
        std::wstring stubFolder = m_Game;
        if (c.place == MetadataPlace::TwoAboveContainer)
            stubFolder = m_Game + L"\\Binaries\\Win64";
        else if (c.place == MetadataPlace::WorkingDirOnly)
            stubFolder = m_Root + L"\\Stub Elsewhere";
        m_Exe = stubFolder + L"\\" + kStubExeName;
        m_Target = stubFolder;
        MakeFolders(m_Game);
        Copy(kStubExeName, m_Exe);

        const std::string document = MetadataDocument(c);
        std::string bytes = document;
        if (c.place != MetadataPlace::BesidePlain)
        {
            std::vector<uint8_t> container;
            ASSERT_EQ(EncodeContainer(reinterpret_cast<const uint8_t*>(document.data()),
                                      static_cast<uint32_t>(document.size()), container),
                      0u);
            bytes.assign(container.begin(), container.end());
        }
        if (c.place == MetadataPlace::Corrupt)
            bytes = "KVOM this is not a container at all, just some bytes of text";
        if (c.place != MetadataPlace::Missing)
        {
            const std::wstring metadataFolder = c.place == MetadataPlace::BesideContainer ||
                                                        c.place == MetadataPlace::BesidePlain ||
                                                        c.place == MetadataPlace::Corrupt
                                                    ? stubFolder
                                                    : m_Game;
            ASSERT_TRUE(WriteBytes(metadataFolder + L"\\title.kvo", bytes));
        }

        if (c.gameExe)
            Copy(L"e2e_recorder.exe", m_Target + L"\\Game.exe");
        const std::wstring launcher = m_Root + L"\\" + kLauncherRel;
        if (c.launcher != LauncherFile::Missing)
            Copy(LauncherProgram(c.launcher), launcher);
        else
            MakeFolders(ParentOf(launcher));
        if (c.launcherExit != 0)
        {
            ASSERT_TRUE(WriteBytes(launcher + L".exit", std::to_string(c.launcherExit)));
        }
        if (c.registered)
            RegistryGuard::SetLauncherFolder(ParentOf(launcher));
        else
            RegistryGuard::RemoveLauncherFolder();

        for (const Installer& installer : c.installers)
        {
            std::wstring path = Expand(installer.path);
            if (path.find(L':') == std::wstring::npos)
                path = m_Game + L"\\" + path;
            Copy(L"e2e_recorder.exe", path);
            if (installer.exitCode != 0)
            {
                ASSERT_TRUE(WriteBytes(path + L".exit", std::to_string(installer.exitCode)));
            }
            if (installer.installsLauncher)
            {
                const std::string copy =
                    ToUtf8(BinFolder() + L"\\e2e_recorder_1_0_3_0.exe") + "\n" + ToUtf8(launcher) + "\n";
                ASSERT_TRUE(WriteBytes(path + L".copy", copy));
            }
        }
        RegistryGuard::SetStubWindowsVersion(c.windowsVersion);
        DeleteFileW(StubLogPath().c_str());
    }

    // Starts a program with an exact command line in the game folder.
    static bool Start(const std::wstring& program, std::wstring commandLine, const std::wstring& cwd,
                      KernelHandle& process)
    {
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION info = {};
        if (!CreateProcessW(program.c_str(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, cwd.c_str(),
                            &startup, &info))
            return false;
        CloseHandle(info.hThread);
        process.Reset(info.hProcess);
        return true;
    }

    static RegistryGuard* s_Guard;
    static bool s_HasDisplay;
    static bool s_CreatedLogFolder;
    static std::wstring s_Base;
    std::wstring m_Root;
    std::wstring m_Game;
    std::wstring m_Exe;
    std::wstring m_Target;
};

RegistryGuard* StubE2e::s_Guard = nullptr;
bool StubE2e::s_HasDisplay = false;
bool StubE2e::s_CreatedLogFolder = false;
std::wstring StubE2e::s_Base;

TEST_P(StubE2e, Runs)
{
    if (s_HasDisplay)
        GTEST_SKIP() << "DISPLAY is set: the stub's message boxes would wait for a click";
    const E2eCase& c = GetParam();
    ASSERT_NO_FATAL_FAILURE(Prepare(c));
    const std::wstring recordPath = m_Root + L"\\record.txt";
    SetEnvironmentVariableW(L"ViveportLocation", nullptr);
    SetEnvironmentVariableW(L"KVO_E2E_HOLD", nullptr);

    KernelHandle held;
    const std::wstring holdFile = m_Root + L"\\hold";
    if (c.launcherRunning)
    {
        const std::wstring heldRecord = m_Root + L"\\held.txt";
        ASSERT_TRUE(WriteBytes(holdFile, "hold"));
        SetEnvironmentVariableW(L"KVO_E2E_RECORD", heldRecord.c_str());
        SetEnvironmentVariableW(L"KVO_E2E_HOLD", holdFile.c_str());
        const std::wstring launcher = m_Root + L"\\" + kLauncherRel;
        ASSERT_TRUE(Start(launcher, L"\"" + launcher + L"\" held", m_Game, held));
        SetEnvironmentVariableW(L"KVO_E2E_HOLD", nullptr);
        for (int i = 0; i < 400 && GetFileAttributesW(heldRecord.c_str()) == INVALID_FILE_ATTRIBUTES; ++i)
            Sleep(50);
    }

    SetEnvironmentVariableW(L"KVO_E2E_RECORD", recordPath.c_str());
    KernelHandle stub;
    ASSERT_TRUE(Start(m_Exe, Expand(c.commandLine), m_Game, stub));
    const DWORD waited = WaitForSingleObject(stub.Get(), kRunTimeoutMs);
    if (waited != WAIT_OBJECT_0)
        TerminateProcess(stub.Get(), 99);
    DeleteFileW(holdFile.c_str());
    if (held)
        WaitForSingleObject(held.Get(), 20000);
    ASSERT_EQ(waited, WAIT_OBJECT_0) << "the stub did not end";
    DWORD exitCode = 1;
    GetExitCodeProcess(stub.Get(), &exitCode);
    EXPECT_EQ(exitCode, 0u);

    // What the stand-ins saw.
    const std::vector<Record> records = ReadRecords(recordPath);
    ASSERT_EQ(records.size(), c.runs.size());
    for (size_t i = 0; i < records.size(); ++i)
    {
        const std::wstring expected = Expand(c.runs[i]);
        const size_t bar = expected.find(L'|');
        const std::wstring program = m_Root + L"\\" + expected.substr(0, bar);
        SCOPED_TRACE("run " + std::to_string(i) + ": " + ToUtf8(records[i].commandLine));
        EXPECT_EQ(_wcsicmp(records[i].program.c_str(), program.c_str()), 0) << ToUtf8(records[i].program);
        EXPECT_EQ(ToUtf8(ArgumentsOf(records[i].commandLine)), ToUtf8(expected.substr(bar + 1)));
        EXPECT_EQ(_wcsicmp(records[i].cwd.c_str(), m_Game.c_str()), 0) << ToUtf8(records[i].cwd);
        const std::wstring vive = i + 1 == records.size() ? Expand(c.viveportLocation) : L"<unset>";
        EXPECT_EQ(ToUtf8(records[i].viveportLocation), ToUtf8(vive));
    }

    // What the stub logged.
    bool logExists = false;
    const std::vector<std::string> log = ReadLogLines(StubLogPath(), logExists);
    if (c.expectNoLogFile)
    {
        EXPECT_FALSE(logExists);
        return;
    }
    ASSERT_TRUE(logExists);
    auto contains = [&log](const std::string& line) {
        for (const std::string& l : log)
            if (l == line)
                return true;
        return false;
    };
    auto countPrefix = [&log](const std::string& prefix) {
        int n = 0;
        for (const std::string& l : log)
            n += l.compare(0, prefix.size(), prefix) == 0;
        return n;
    };
    for (const std::string& line : c.logLines)
        EXPECT_TRUE(contains(line)) << "missing log line: " << line;
    auto expectBox = [&](const char* prefix, unsigned captionId, unsigned textId) {
        const std::string caption = std::string(prefix) + NarrowLikeLog(LoadStubText(captionId));
        if (textId == 0)
        {
            EXPECT_EQ(countPrefix(prefix), 0) << "unexpected " << prefix;
            return;
        }
        EXPECT_EQ(countPrefix(prefix), 1) << "expected one " << prefix << " box";
        const std::string text = NarrowLikeLog(LoadStubText(textId));
        ASSERT_FALSE(text.empty()) << "text " << textId << " missing from the stub";
        bool found = false;
        for (size_t i = 0; i + 1 < log.size(); ++i)
            found = found || (log[i] == caption && log[i + 1] == text);
        EXPECT_TRUE(found) << "no box with text " << textId << ": " << text;
    };
    expectBox("Error: ", 300, c.errorText);
    expectBox("Warning: ", 301, c.warningText);
    EXPECT_EQ(contains("Launch finished."), c.errorText == 0);
}

INSTANTIATE_TEST_SUITE_P(Stub, StubE2e, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<E2eCase>& param) { return param.param.name; });
} // namespace
