// End-to-end runs of the real stub under Wine: each case builds a game folder with
// recording stand-ins and judges what they recorded and what stub.log says.
#include "app/messages.h"
#include "metadata/metadata_container.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace
{
namespace fs = std::filesystem;
const wchar_t* const kStubExeName = KVO_E2E_STUB_EXE;
const wchar_t* const kLauncherKey = L"SOFTWARE\\WOW6432Node\\Tavrin Games\\Launcher";
const wchar_t* const kLauncherRel = L"Launcher Home\\Launcher.exe";
const DWORD kRunTimeoutMs = 60000;

// Launcher stand-ins by version resource (nullptr: no launcher file).
const wchar_t* const kUnversioned = L"e2e_recorder.exe";
const wchar_t* const kV1_0_2_999 = L"e2e_recorder_1_0_2_999.exe";
const wchar_t* const kV1_0_3_0 = L"e2e_recorder_1_0_3_0.exe";
const wchar_t* const kV2_0_0_0 = L"e2e_recorder_2_0_0_0.exe";

enum class MetadataPlace
{
    BesideContainer,
    BesidePlain,
    TwoAboveContainer,
    Missing,
    WorkingDirOnly
};

struct Installer
{
    std::wstring path; // relative to the game folder, or starting with {root}
    int exitCode;
    bool installsLauncher;
};

// One row of the case table; the setters keep each row short.
struct E2eCase
{
    std::string name;
    std::string metadata;              // members added to the base document
    std::wstring args = L" -stub_log"; // the command line after "{exe}"
    MetadataPlace place = MetadataPlace::BesideContainer;
    const wchar_t* launcher = kV1_0_3_0;
    int launcherExit = 0;
    bool registered = true, launcherRunning = false, gameExe = true;
    std::vector<Installer> installers;
    const wchar_t* windowsVersion = nullptr; // Wine version name for the stub only

    // "<program relative to the case root>|<arguments after the program>", in order.
    std::vector<std::wstring> runs;
    std::wstring viveportLocation = L"<unset>"; // as the last program saw it
    unsigned errorText = 0, warningText = 0;    // message texts of the one error or warning box
    std::vector<std::string> logLines;
    bool expectNoLogFile = false;

    E2eCase& Meta(std::string m) { return metadata = std::move(m), *this; }
    E2eCase& Args(std::wstring a) { return args = std::move(a), *this; }
    E2eCase& Place(MetadataPlace p) { return place = p, *this; }
    E2eCase& Launcher(const wchar_t* program) { return launcher = program, *this; }
    E2eCase& Unregistered() { return registered = false, *this; }
    E2eCase& Install(std::wstring path, int exit = 0, bool putsLauncher = false)
    {
        return installers.push_back({std::move(path), exit, putsLauncher}), *this;
    }
    E2eCase& Windows(const wchar_t* v) { return windowsVersion = v, *this; }
    E2eCase& Run(std::wstring r) { return runs.push_back(std::move(r)), *this; }
    E2eCase& NoLog() { return expectNoLogFile = true, *this; }
    E2eCase& Error(unsigned id) { return errorText = id, *this; }
    E2eCase& Warning(unsigned id) { return warningText = id, *this; }
    E2eCase& Log(std::vector<std::string> l) { return logLines = std::move(l), *this; }
};

const wchar_t* const kSteamInstaller = L"Redistributables\\Tavrin-Games-Launcher.exe";
const wchar_t* const kEpicInstaller = L"Redistributables\\Tavrin-Games-Epic.exe";
const wchar_t* const kViveInstaller = L"Installers\\Tavrin-Games-Vive.exe";
const wchar_t* const kOculusInstaller = L"Installers\\Tavrin-Games-Oculus.exe";

// The launcher's run: "-skipPatcherCheck <middle> @args.txt".
std::wstring LauncherRun(const std::wstring& middle)
{
    return std::wstring(kLauncherRel) + L"|-skipPatcherCheck " + middle + L" @args.txt";
}
std::wstring SteamRun(const std::wstring& appId)
{
    return LauncherRun(L"-steamAppId=" + appId + L" -steamLocation \"{target}\" -stub_log");
}
// A program of the game folder (an installer), with its arguments.
std::wstring GameFolderRun(const std::wstring& path, const std::wstring& args = L"")
{
    return L"Game Folder\\" + path + L"|" + args;
}

std::vector<E2eCase> Cases()
{
    using MP = MetadataPlace;
    auto platform = [](const std::string& name) { return R"("gamePlatform":")" + name + "\""; };
    auto steam = [&](const std::string& ids)
    { return platform("steam") + R"(,"steamAppIds":[)" + ids + "]"; };
    const std::wstring defaultRun = LauncherRun(L"-minmodeApp=T1 -stub_log");
    std::vector<E2eCase> cases;
    auto add = [&cases](const char* name) -> E2eCase&
    {
        E2eCase& c = cases.emplace_back();
        return c.name = name, c;
    };

    // Store fronts and the launcher's command line.
    add("DefaultPlatform")
        .Run(defaultRun)
        .Log({"Launching...", "Running Quorin build.", "Launch succeeded", "Application exited with code 0",
              "Launch finished."});
    add("DomainEnvironment")
        .Meta(R"("environment":"prod")")
        .Run(LauncherRun(L"-minmodeApp=T1 -stub_log -vexilDomainEnv=prod"));
    add("NoArgumentsNoOwnText")
        .Meta(R"("environment":"prod")")
        .Args(L"")
        .Run(LauncherRun(L"-minmodeApp=T1"))
        .NoLog();
    add("OwnArgumentsVerbatim")
        .Args(L" -STUB_LOG -Unknown \"Quoted Arg\" @other.txt  -Force64Bit")
        .Run(LauncherRun(L"-minmodeApp=T1 -STUB_LOG -Unknown \"Quoted Arg\" @other.txt  -Force64Bit"));
    add("Steam")
        .Meta(steam("111,222"))
        .Install(kSteamInstaller)
        .Run(SteamRun(L"111"))
        .Log({"Preparing Steam launch", "Launch finished."});
    add("SteamHexAppIdPassedInDecimal").Meta(steam(R"("0x1F4")")).Run(SteamRun(L"500"));
    add("SteamWithoutAppIds").Meta(steam("")).Run(LauncherRun(L"-steamLocation \"{target}\" -stub_log"));
    add("SteamForcedTargetPath")
        .Meta(steam("7"))
        .Args(L" -stub_log -forceTargetPath \"C:\\Forced Place\\Dir\"")
        .Run(LauncherRun(L"-steamAppId=7 -steamLocation \"c:\\forced place\\dir\" -stub_log "
                         L"-forceTargetPath \"C:\\Forced Place\\Dir\""));
    add("Viveport")
        .Meta(platform("viveport"))
        .Install(kViveInstaller)
        .Run(GameFolderRun(kViveInstaller))
        .Run(LauncherRun(L"-viveportApp=T1 -viveportLocation \"{target}\" -stub_log"))
        .viveportLocation = L"{target}";
    add("Oculus")
        .Meta(platform("oculus"))
        .Install(kOculusInstaller)
        .Run(GameFolderRun(kOculusInstaller))
        .Run(LauncherRun(L"-oculusApp=T1 -stub_log"));
    add("Epic")
        .Meta(platform("epic") + R"(,"epicSdkVersion":3,"epicProductId":"P")")
        .Install(kEpicInstaller)
        .Run(GameFolderRun(kEpicInstaller))
        .Run(LauncherRun(L"-epicAppId=T1 -stub_log"))
        .Log({"Preparing Epic launch"});
    add("Disk")
        .Meta(platform("disk"))
        .Install(kEpicInstaller)
        .Run(LauncherRun(L"-stub_log"))
        .Log({"Unknown External Platform Launch"});

    // Launch target switches.
    add("LaunchDirectly")
        .Args(L" -stub_log -launchDirectly")
        .Launcher(nullptr)
        .Unregistered()
        .Run(L"Game Folder\\Game.exe|-skipPatcherCheck -minmodeApp=T1 -stub_log -launchDirectly @args.txt");
    add("PrereleaseCheckGamePresent")
        .Args(L" -stub_log -forcePrereleaseCheck")
        .Run(LauncherRun(L"-minmodeApp=T1 -stub_log -forcePrereleaseCheck"));
    add("PrereleaseCheckGameMissing").Args(L" -stub_log -forcePrereleaseCheck").Error(210).gameExe = false;
    add("ForcedLauncherPath")
        .Unregistered()
        .Args(L" -stub_log -forceLauncherPath \"{root}\\Launcher Home\\Launcher.exe\"")
        .Run(LauncherRun(
            L"-minmodeApp=T1 -stub_log -forceLauncherPath \"{root}\\Launcher Home\\Launcher.exe\""));
    add("ForcedLauncherPathMissing")
        .Args(L" -stub_log -forceLauncherPath=\"{root}\\Nowhere\\Launcher.exe\"")
        .Error(204)
        .Log({"Failed to launch process."});
    add("LauncherNotRegistered").Unregistered().Error(202);
    add("RegisteredLauncherFileMissing").Launcher(nullptr).Error(204);

    // The launcher's minimum version per store front.
    add("SteamLauncherTooOld").Meta(steam("1")).Launcher(kV1_0_2_999).Error(209);
    add("SteamLauncherNewer").Meta(steam("1")).Launcher(kV2_0_0_0).Run(SteamRun(L"1"));
    add("EpicLauncherTooOld")
        .Meta(platform("epic"))
        .Launcher(kV1_0_2_999)
        .Install(kEpicInstaller)
        .Run(GameFolderRun(kEpicInstaller))
        .Error(209);
    add("OculusLauncherTooOld")
        .Meta(platform("oculus"))
        .Launcher(kV1_0_2_999)
        .Install(kOculusInstaller)
        .Run(GameFolderRun(kOculusInstaller))
        .Error(209);
    add("DiskLauncherOld").Meta(platform("disk")).Launcher(kV1_0_2_999).Run(LauncherRun(L"-stub_log"));
    add("DefaultLauncherOld").Launcher(kV1_0_2_999).Run(defaultRun);
    add("ForcedOldLauncherUnversioned")
        .Args(L" -stub_log -forceOldKvoFailure")
        .Launcher(kUnversioned)
        .Error(209);
    add("LauncherExitsWithOne")
        .Run(defaultRun)
        .Error(204)
        .Log({"Application exited with code 1"})
        .launcherExit = 1;

    // Store-front installers.
    add("SteamInstallerPutsLauncherInPlace")
        .Meta(steam("5"))
        .Launcher(nullptr)
        .Install(kSteamInstaller, 0, true)
        .Run(GameFolderRun(kSteamInstaller, L"/s /t"))
        .Run(SteamRun(L"5"));
    add("SteamInstallerFails")
        .Meta(steam("5"))
        .Launcher(nullptr)
        .Install(kSteamInstaller, 3)
        .Run(GameFolderRun(kSteamInstaller, L"/s /t"))
        .Error(205)
        .Log({"Application exited with code 3"});
    add("SteamInstallerFromMetadataFolder")
        .Meta(steam("5") + R"(,"steamInstallerPath":"{root}\\Steam Inst")")
        .Unregistered()
        .Install(L"{root}\\Steam Inst\\Tavrin-Games-Launcher.exe")
        .Run(L"Steam Inst\\Tavrin-Games-Launcher.exe|/s /t")
        .Error(202); // the stand-in installer registers nothing
    add("SteamInstallerMissing")
        .Meta(steam("5"))
        .Unregistered()
        .Error(205)
        .Log({"Failed to launch process."});
    add("EpicSkipInstallers")
        .Meta(platform("epic"))
        .Args(L" -stub_log -skipInstallers")
        .Install(kEpicInstaller)
        .Run(LauncherRun(L"-epicAppId=T1 -stub_log -skipInstallers"));
    add("EpicLauncherAlreadyRunning")
        .Meta(platform("epic"))
        .Install(kEpicInstaller)
        .Run(LauncherRun(L"-epicAppId=T1 -stub_log"))
        .Log({"Launcher is already running."})
        .launcherRunning = true;
    add("DefaultPlatformRunsNoInstaller")
        .Install(kSteamInstaller)
        .Install(kEpicInstaller)
        .Install(kViveInstaller)
        .Run(defaultRun);

    // Windows version checks.
    add("WindowsXpWarns").Windows(L"winxp").Warning(207).Run(defaultRun);
    add("Windows81Stops").Windows(L"win81").Error(118);
    add("ForcedXpVistaFailureWinsOverSuccess")
        .Args(L" -stub_log -forceXpVistaSuccess -forceXpVistaFailure")
        .Warning(207)
        .Run(LauncherRun(L"-minmodeApp=T1 -stub_log -forceXpVistaSuccess -forceXpVistaFailure"));
    add("ForcedSp1FailureOnWindows81")
        .Windows(L"win81")
        .Args(L" -stub_log -forceSP1Failure")
        .Warning(208)
        .Run(LauncherRun(L"-minmodeApp=T1 -stub_log -forceSP1Failure"));
    add("ForcedPassesOnXpMeetWindows10Check")
        .Windows(L"winxp")
        .Args(L" -stub_log -forceXpVistaSuccess -forceSP1Success")
        .Error(118); // both forced checks pass, so the Windows 10 check runs

    // Finding the metadata.
    add("PlainJsonMetadata").Place(MP::BesidePlain).Run(defaultRun);
    add("MetadataTwoFoldersAbove").Place(MP::TwoAboveContainer).Meta(steam("9")).Run(SteamRun(L"9"));
    add("MetadataMissing").Place(MP::Missing).Error(299).Log({"Problem loading metadata from disk!"});
    add("MetadataOnlyInWorkingDirectory").Place(MP::WorkingDirOnly).Error(299);
    return cases;
}

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

bool WriteBytes(const fs::path& path, const std::string& bytes)
{
    return static_cast<bool>(std::ofstream(path, std::ios::binary) << bytes);
}

std::error_code g_Ignored; // of making and removing folders
// The lines of a file, each ended by `end` (the last may lack it).
std::vector<std::string> ReadLines(const fs::path& path, const std::string& end, bool& exists)
{
    std::ifstream in(path, std::ios::binary);
    exists = static_cast<bool>(in);
    const std::string text(std::istreambuf_iterator<char>(in), {});
    std::vector<std::string> lines;
    for (size_t start = 0, stop = 0; start < text.size(); start = stop + end.size())
        lines.push_back(text.substr(start, (stop = std::min(text.find(end, start), text.size())) - start));
    return lines;
}

std::wstring StubLogPath()
{
    PWSTR folder = nullptr;
    const HRESULT got = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder);
    const std::wstring result = SUCCEEDED(got) ? folder : L"";
    CoTaskMemFree(folder);
    return result + L"\\Tavrin Games\\Launcher\\stub.log";
}

std::wstring LoadStubText(unsigned id)
{
    static HMODULE stub = LoadLibraryExW((BinFolder() + L"\\" + kStubExeName).c_str(), nullptr,
                                         LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    std::wstring text;
    FindMessageText(stub, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), id, text);
    return text;
}

// The stand-ins' records: "key=value" lines (program, commandLine, cwd,
// viveportLocation), each record closed by "end".
using Record = std::map<std::string, std::wstring>;
std::vector<Record> ReadRecords(const std::wstring& path)
{
    std::vector<Record> records(1);
    bool exists = false;
    for (const std::string& line : ReadLines(path, "\n", exists))
        if (line == "end")
            records.emplace_back();
        else if (line.find('=') != std::string::npos)
            records.back()[line.substr(0, line.find('='))] = ToWide(line.substr(line.find('=') + 1));
    records.pop_back();
    return records;
}

// The arguments after the program part of a command line the shell built.
std::wstring ArgumentsOf(const std::wstring& commandLine)
{
    const size_t end = !commandLine.empty() && commandLine[0] == L'"' ? commandLine.find(L'"', 1) + 1
                                                                      : commandLine.find(L' ');
    return end == std::wstring::npos || end >= commandLine.size() ? L"" : commandLine.substr(end + 1);
}

// Lines end with CR LF (a message text may hold line feeds of its own); the
// time stamp "[yyyy-mm-dd hh:mm:ss.mmm] " is dropped.
std::vector<std::string> ReadLogLines(const std::wstring& path, bool& exists)
{
    std::vector<std::string> lines = ReadLines(path, "\r\n", exists);
    for (std::string& line : lines)
        if (!line.empty() && line[0] == '[' && line.find("] ") != std::string::npos)
            line = line.substr(line.find("] ") + 2);
    return lines;
}

void SetString(HKEY root, const std::wstring& key, const wchar_t* name, const wchar_t* value)
{
    value
        ? RegSetKeyValueW(root, key.c_str(), name, REG_SZ, value, static_cast<DWORD>((wcslen(value) + 1) * 2))
        : RegDeleteKeyValueW(root, key.c_str(), name);
}

// The launcher's install folder (nullptr: none registered).
void SetLauncherFolder(const wchar_t* folder)
{
    SetString(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder", folder);
}

// The Windows version Wine reports to the stub's executable name only.
const std::wstring kAppDefaultsKey = std::wstring(L"Software\\Wine\\AppDefaults\\") + kStubExeName;
void SetStubWindowsVersion(const wchar_t* v)
{
    SetString(HKEY_CURRENT_USER, kAppDefaultsKey, L"Version", v);
}

// Starts a program with an exact command line in the given folder.
bool Start(const std::wstring& program, std::wstring commandLine, const std::wstring& cwd,
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

class StubE2e : public testing::TestWithParam<E2eCase>
{
protected:
    static void SetUpTestSuite()
    {
        // With a display, every message box would wait for a click.
        s_HasDisplay = GetEnvironmentVariableW(L"DISPLAY", nullptr, 0) != 0;
        if (s_HasDisplay)
            return;
        fs::create_directories(ParentOf(StubLogPath()), g_Ignored); // the log sink does not create it
        s_Base = BinFolder() + L"\\stub e2e work";
        fs::remove_all(s_Base, g_Ignored);
        fs::create_directories(s_Base, g_Ignored);
    }
    static void TearDownTestSuite()
    {
        if (s_HasDisplay)
            return;
        SetLauncherFolder(nullptr);
        SetStubWindowsVersion(nullptr);
        fs::remove_all(s_Base, g_Ignored);
        // The log, then its folder and the one above it if they are empty.
        for (const std::wstring& path :
             {StubLogPath(), ParentOf(StubLogPath()), ParentOf(ParentOf(StubLogPath()))})
            fs::remove(path, g_Ignored);
    }

    std::wstring Expand(std::wstring text) const
    {
        for (const auto& [from, to] :
             {std::pair{L"{exe}", m_Exe}, {L"{root}", m_Root}, {L"{target}", m_Target}})
            ReplaceAll(text, from, to);
        return text;
    }

    std::string MetadataDocument(const E2eCase& c) const
    {
        std::wstring root = m_Root, extraWide = ToWide(c.metadata);
        ReplaceAll(root, L"\\", L"\\\\"); // inside a JSON text
        ReplaceAll(extraWide, L"{root}", root);
        const std::string
            extra = ToUtf8(extraWide),
            base = R"("titleId":"T1","friendlyName":"Sample Title","principalFileName":"Game.exe",)"
                   R"("appdataFolderName":"Sample","installFolderRegKey":"SOFTWARE\\Sample",)"
                   R"("installFolderRegValueName":"InstallDir","languages":["en"]})";
        // A member given again in `extra` comes first: the first of a name wins.
        return "{" + (extra.empty() ? std::string() : extra + ",") + base;
    }

    // Copies a program of the build folder; `exitCode` goes into "<to>.exit".
    void Copy(const wchar_t* program, const std::wstring& to, int exitCode = 0) const
    {
        fs::create_directories(ParentOf(to), g_Ignored);
        std::error_code error;
        ASSERT_TRUE(
            fs::copy_file(BinFolder() + L"\\" + program, to, fs::copy_options::overwrite_existing, error))
            << ToUtf8(to) << ": " << error.message();
        ASSERT_TRUE(exitCode == 0 || WriteBytes(to + L".exit", std::to_string(exitCode)));
    }

    void Prepare(const E2eCase& c)
    {
        static int counter = 0;
        m_Root = s_Base + L"\\case " + std::to_wstring(++counter) + L" " + ToWide(c.name);
        m_Game = m_Root + L"\\Game Folder";
        m_Target = c.place == MetadataPlace::TwoAboveContainer ? m_Game + L"\\Binaries\\Win64"
                   : c.place == MetadataPlace::WorkingDirOnly  ? m_Root + L"\\Stub Elsewhere"
                                                               : m_Game;
        m_Exe = m_Target + L"\\" + kStubExeName;
        fs::create_directories(m_Game, g_Ignored);
        ASSERT_NO_FATAL_FAILURE(Copy(kStubExeName, m_Exe));

        const std::string document = MetadataDocument(c);
        std::vector<uint8_t> container;
        const auto* data = reinterpret_cast<const uint8_t*>(document.data());
        ASSERT_EQ(EncodeContainer(data, static_cast<uint32_t>(document.size()), container), 0u);
        const std::string bytes = c.place == MetadataPlace::BesidePlain
                                      ? document
                                      : std::string(container.begin(), container.end());
        const std::wstring kvoFolder =
            m_Target.size() > m_Game.size() ? m_Game : m_Target; // beside or above the stub
        ASSERT_TRUE(c.place == MetadataPlace::Missing || WriteBytes(kvoFolder + L"\\title.kvo", bytes));
        if (c.gameExe)
        {
            ASSERT_NO_FATAL_FAILURE(Copy(kUnversioned, m_Target + L"\\Game.exe"));
        }
        const std::wstring launcher = m_Root + L"\\" + kLauncherRel;
        fs::create_directories(ParentOf(launcher), g_Ignored);
        if (c.launcher)
        {
            ASSERT_NO_FATAL_FAILURE(Copy(c.launcher, launcher, c.launcherExit));
        }
        SetLauncherFolder(c.registered ? ParentOf(launcher).c_str() : nullptr);

        for (const Installer& installer : c.installers)
        {
            std::wstring path = Expand(installer.path);
            if (path.find(L':') == std::wstring::npos)
                path = m_Game + L"\\" + path;
            ASSERT_NO_FATAL_FAILURE(Copy(kUnversioned, path, installer.exitCode));
            const std::wstring copy =
                BinFolder() + L"\\" + kV1_0_3_0 + L"\n" + launcher + L"\n"; // put in place
            ASSERT_TRUE(!installer.installsLauncher || WriteBytes(path + L".copy", ToUtf8(copy)));
        }
        SetStubWindowsVersion(c.windowsVersion);
        DeleteFileW(StubLogPath().c_str());
    }

    static inline bool s_HasDisplay = false;
    static inline std::wstring s_Base;
    std::wstring m_Root, m_Game, m_Exe, m_Target;
};

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
    ASSERT_TRUE(Start(m_Exe, Expand(L"\"{exe}\"" + c.args), m_Game, stub));
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
        Record r = records[i];
        const std::wstring expected = Expand(c.runs[i]);
        const size_t bar = expected.find(L'|');
        const std::wstring program = m_Root + L"\\" + expected.substr(0, bar);
        SCOPED_TRACE("run " + std::to_string(i) + ": " + ToUtf8(r["commandLine"]));
        EXPECT_EQ(_wcsicmp(r["program"].c_str(), program.c_str()), 0) << ToUtf8(r["program"]);
        EXPECT_EQ(ToUtf8(ArgumentsOf(r["commandLine"])), ToUtf8(expected.substr(bar + 1)));
        EXPECT_EQ(_wcsicmp(r["cwd"].c_str(), m_Game.c_str()), 0) << ToUtf8(r["cwd"]);
        const std::wstring vive = i + 1 == records.size() ? Expand(c.viveportLocation) : L"<unset>";
        EXPECT_EQ(ToUtf8(r["viveportLocation"]), ToUtf8(vive));
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
    auto contains = [&log](const std::string& line)
    { return std::find(log.begin(), log.end(), line) != log.end(); };
    for (const std::string& line : c.logLines)
        EXPECT_TRUE(contains(line)) << "missing log line: " << line;
    auto expectBox = [&](const std::string& prefix, unsigned captionId, unsigned textId)
    {
        const int boxes = static_cast<int>(
            std::count_if(log.begin(), log.end(),
                          [&](const std::string& l) { return l.compare(0, prefix.size(), prefix) == 0; }));
        EXPECT_EQ(boxes, textId == 0 ? 0 : 1) << "count of " << prefix << " boxes";
        if (textId == 0)
            return;
        const std::string box[] = {prefix + ToUtf8(LoadStubText(captionId)), // caption line, text line
                                   ToUtf8(LoadStubText(textId))};
        ASSERT_FALSE(box[1].empty()) << "text " << textId << " missing from the stub";
        EXPECT_NE(std::search(log.begin(), log.end(), std::begin(box), std::end(box)), log.end())
            << "no box with text " << textId << ": " << box[1];
    };
    expectBox("Error: ", 300, c.errorText);
    expectBox("Warning: ", 301, c.warningText);
    EXPECT_EQ(contains("Launch finished."), c.errorText == 0);
}

INSTANTIATE_TEST_SUITE_P(Stub, StubE2e, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<E2eCase>& param) { return param.param.name; });
} // namespace
