// kvotool doctor: what the launch stub will do in a game's install folder,
// worked out from the files there without running it. The stub's rules come
// from its launch plan (launch/launch_plan.h), asked about this folder: the
// places title.kvo is searched from the stub's folder, the installer found
// relative to its working directory (the game folder). The game's executable
// is expected beside the stub.
#include "cli.h"
#include "commands.h"
#include "doc_check.h"
#include "doc_log.h"
#include "file_io.h"
#include "game_folder.h"
#include "installer_trust.h"
#include "launch/launch_plan.h"
#include "metadata/metadata_container.h"
#include "metadata/metadata_enums.h"
#include "metadata/title_metadata.h"
#include "pe_version.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace kvotool
{
namespace
{
const char kDefaultStubName[] = "PlayGame.exe";
const char kMetadataFileName[] = "title.kvo";
// A stub is a few hundred kilobytes; a file far larger is not read whole.
constexpr uintmax_t kMaxExecutableBytes = 64u << 20;

// Message numbers of the stub's boxes, and the text ids they show.
enum : uint32_t
{
    kLauncherNotFound = 0,
    kPrerequisitesFailed = 3,
    kLauncherOutOfDate = 7,
    kGameExecutableNotFound = 8,
    kMetadataLoadFailed = 10,
};

struct StubText
{
    uint32_t id;
    const char* text;
};

const StubText kStubTexts[] = {
#include "stub_messages.inc"
};

uint32_t MessageTextId(uint32_t message)
{
    static const uint32_t kIds[] = {202, 203, 204, 205, 206, 208, 118, 209, 210};
    return message < sizeof kIds / sizeof kIds[0] ? kIds[message] : 299;
}

std::string MessageText(uint32_t message)
{
    const uint32_t id = MessageTextId(message);
    for (const StubText& t : kStubTexts)
        if (t.id == id)
            return t.text;
    return std::string();
}

// `message N: "text"` on one line.
std::string QuoteMessage(uint32_t message)
{
    std::string text;
    for (char c : MessageText(message))
        if (c != '\n')
            text += c;
        else if (!text.empty() && text.back() != ' ')
            text += ' ';
    return "message " + std::to_string(message) + ": \"" + text + "\"";
}

// What one start of the stub ends in, for one state of the launcher.
struct Outcome
{
    enum Kind
    {
        StartsLauncher,
        RunsInstaller, // then starts the launcher
        ShowsMessage,
    } kind = StartsLauncher;
    uint32_t message = 0;
    std::string installer; // as the stub names it, with its parameters
};

std::string Describe(const Outcome& o)
{
    switch (o.kind)
    {
    case Outcome::StartsLauncher:
        return "starts the launcher";
    case Outcome::RunsInstaller:
        return "runs " + o.installer + " elevated, then starts the launcher";
    case Outcome::ShowsMessage:
        break;
    }
    return "shows " + QuoteMessage(o.message);
}

bool operator==(const Outcome& a, const Outcome& b)
{
    return a.kind == b.kind && a.message == b.message && a.installer == b.installer;
}

void WriteOutcome(JsonWriter& w, const char* name, const Outcome& o)
{
    static const char* const kKinds[] = {"starts-launcher", "runs-installer", "shows-message"};
    w.Begin(name);
    w.WriteString("outcome", kKinds[o.kind]);
    if (o.kind == Outcome::RunsInstaller)
        w.WriteString("installer", o.installer.c_str());
    if (o.kind == Outcome::ShowsMessage)
    {
        w.Write("message", o.message);
        w.WriteString("messageText", MessageText(o.message).c_str());
    }
    w.End();
}

std::string FileNamePart(const std::string& path)
{
    const size_t cut = path.find_last_of("\\/");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

std::filesystem::path FsPath(const std::string& utf8)
{
#ifdef _WIN32
    return std::filesystem::u8path(utf8);
#else
    return std::filesystem::path(utf8);
#endif
}

// The plan's view of the game folder, the stub's working directory: names
// in any letter case, as on Windows.
class GameFolderProbe final : public LaunchPlan::FolderProbe
{
public:
    explicit GameFolderProbe(const std::string& folder) : m_Folder(folder) {}
    bool FileExists(const std::string& path) override
    {
        std::string found;
        return FindFile(m_Folder, path, found);
    }

private:
    const std::string& m_Folder;
};

class Doctor
{
public:
    Doctor(const std::string& game, const std::string& stub, const uint8_t* key, bool strict,
           const InstallerPolicy& policy)
        : m_Game(game), m_GameFull(FullPath(game)), m_Stub(stub), m_Key(key), m_Strict(strict),
          m_Policy(policy)
    {
        while (m_Game.size() > 1 && (m_Game.back() == '/' || m_Game.back() == '\\'))
            m_Game.pop_back();
        m_Report.file = m_Game;
    }

    int Run();
    Report& GetReport() { return m_Report; }

private:
    Diagnostic& Add(Severity s, const char* rule, const std::string& message, const std::string& file = {})
    {
        Diagnostic& d = m_Report.diags.Add(s, message);
        d.rule = rule;
        d.file = file;
        return d;
    }
    std::string Shown(const std::string& full) const { return ShownPath(full, m_GameFull, m_Game); }
    std::string InGame(const std::string& relative) const
    {
        std::string path = relative;
        for (char& c : path)
            if (c == '\\' || c == '/')
                c = kPathSeparator;
        return m_Game + kPathSeparator + path;
    }

    void CheckStub();
    void ListExecutables();
    bool FindMetadata();
    void CheckMetadata();
    void CheckGameExecutable(TitleMetadata& metadata);
    // The installer for the store front, when there is one: its name as the
    // stub runs it, and whether it is there.
    void CheckInstaller(TitleMetadata& metadata);
    // Who signed the installer at FOUND, and whether the asked-for policy runs
    // it; a refused installer ends the launch as a missing one does.
    void ReportTrust(const std::string& found)
    {
        DiagnosticList trust;
        if (ReportInstallerTrust(found, m_Policy, QuoteMessage(kPrerequisitesFailed), trust))
            m_InstallerFound = false;
        m_Report.diags.Append(trust, Shown(found));
    }
    void Conclude();

    std::string m_Game;     // as the user named it
    std::string m_GameFull; // full path: the stub's working directory
    std::string m_Stub;     // the stub's path within the game folder
    std::string m_StubFolderFull;
    const uint8_t* m_Key;
    bool m_Strict;
    InstallerPolicy m_Policy;
    Report m_Report;

    std::string m_MetadataFull; // the title.kvo the stub loads; empty when none
    bool m_StubLoads = false;   // the stub's load of it succeeds
    bool m_OpenedWithKey = false;
    std::string m_StubKeyFingerprint; // from the stub's version resource; empty for older stubs
    uint32_t m_Platform = kMetadataUnset;
    std::string m_Installer;       // as the stub runs it, with parameters; empty: none for the platform
    bool m_InstallerFound = false; // it exists (or cannot be checked here)
};

void Doctor::ListExecutables()
{
    std::string names;
    size_t count = 0;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(FsPath(m_GameFull), ec), end; !ec && it != end && count < 8;
         it.increment(ec))
    {
#ifdef _WIN32
        const std::string name = it->path().filename().u8string();
#else
        const std::string name = it->path().filename().string();
#endif
        if (name.size() > 4 && SameNameIgnoringCase(name.substr(name.size() - 4), ".exe") &&
            !it->is_directory(ec))
        {
            names += (count++ ? ", " : "") + name;
        }
    }
    if (count)
        Add(Severity::Note, "stub",
            "executables in the game folder: " + names + " (name the stub with --stub)");
}

void Doctor::CheckStub()
{
    std::string found;
    {
        // The folder the stub's executable is in; the name may have its own.
        std::string folderPart = m_Stub;
        for (char& c : folderPart)
            if (c == '\\' || c == '/')
                c = kPathSeparator;
        const size_t cut = folderPart.rfind(kPathSeparator);
        m_StubFolderFull = cut == std::string::npos
                               ? m_GameFull
                               : FullPath(m_GameFull + kPathSeparator + folderPart.substr(0, cut));
    }
    if (!FindFile(m_GameFull, m_Stub, found))
    {
        Add(Severity::Error, "stub",
            "the stub '" + m_Stub +
                "' is not in the game folder; the player has nothing to start (the rest "
                "of this report says what it would do there)",
            InGame(m_Stub));
        ListExecutables();
        return;
    }
    // The names as they are on disk, which may differ in letter case.
    m_StubFolderFull = found.substr(0, found.find_last_of("\\/"));
    const std::string shown = Shown(found);
    std::error_code ec;
    const uintmax_t size = std::filesystem::file_size(FsPath(found), ec);
    std::string bytes, error;
    if (ec || size > kMaxExecutableBytes || !ReadWholeFile(found, bytes, error))
    {
        Add(Severity::Error, "stub",
            ec || size <= kMaxExecutableBytes
                ? "the stub cannot be read: " + error
                : "the stub is larger than any launch stub: is it another program?",
            shown);
        return;
    }
    PeVersionInfo info;
    switch (ReadPeVersion(bytes, info))
    {
    case PeVersionResult::NotExecutable:
        Add(Severity::Error, "stub", "the stub is not a Windows executable; Windows refuses to start it",
            shown);
        return;
    case PeVersionResult::NoVersion:
        Add(Severity::Warning, "stub",
            "the stub has no version resource: is it the launch stub? (built stubs carry a version, a "
            "product "
            "and a company name)",
            shown);
        return;
    case PeVersionResult::Ok:
        break;
    }
    m_StubKeyFingerprint = info.keyFingerprint;
    Add(Severity::Note, "stub",
        "stub: version " + FormatVersion(info.fileVersion) + ", product \"" + info.productName +
            "\", company \"" + info.companyName + "\"",
        shown);
    const std::string name = FileNamePart(found);
    if (!info.originalFilename.empty() && !SameNameIgnoringCase(info.originalFilename, name))
    {
        const bool exe = name.size() > 4 && SameNameIgnoringCase(name.substr(name.size() - 4), ".exe");
        const std::string option = "-DKVO_STUB_NAME=" + name.substr(0, exe ? name.size() - 4 : name.size());
        Add(Severity::Warning, "stub",
            "the stub was built as '" + info.originalFilename + "' and renamed to '" + name +
                "'; its file properties still show the old name (build it with " + option + ")",
            shown)
            .suggestion = option;
    }
}

bool Doctor::FindMetadata()
{
    const std::vector<std::string> places = LaunchPlan::MetadataPlaces(m_StubFolderFull, kPathSeparator);
    for (const auto& place : places)
    {
        std::string found;
        if (FindFile(m_GameFull, place, found)) // the places are full paths
        {
            m_MetadataFull = found;
            break;
        }
    }
    if (m_MetadataFull.empty())
    {
        std::string list;
        for (const auto& place : places)
            list += (list.empty() ? "" : ", ") + place;
        Diagnostic& d = Add(Severity::Error, "metadata-search",
                            "the stub finds no title.kvo; it searched " + list + ", and shows " +
                                QuoteMessage(kMetadataLoadFailed),
                            InGame(kMetadataFileName));
        std::string json;
        if (FindFile(m_StubFolderFull, "title.json", json))
            d.suggestion = "kvotool pack \"" + Shown(json) + "\" -o \"" +
                           Shown(m_StubFolderFull + kPathSeparator + kMetadataFileName) + "\"";
        return false;
    }
    const bool inside =
        m_MetadataFull.size() > m_GameFull.size() &&
        m_MetadataFull.compare(0, m_GameFull.size(), m_GameFull) == 0 &&
        (m_MetadataFull[m_GameFull.size()] == '/' || m_MetadataFull[m_GameFull.size()] == '\\');
    if (!inside)
        Add(Severity::Error, "metadata-search",
            "the stub loads title.kvo from outside the game folder, at " + m_MetadataFull +
                "; a player's copy of the game folder does not have it, and there the stub shows " +
                QuoteMessage(kMetadataLoadFailed),
            m_MetadataFull);
    else
    {
        const size_t up = std::find(places.begin(), places.end(), m_MetadataFull) - places.begin();
        Add(Severity::Note, "metadata-search",
            up == 0   ? std::string("the stub finds this title.kvo beside itself")
            : up == 1 ? std::string("the stub finds this title.kvo one folder above its own")
                      : "the stub finds this title.kvo " + std::to_string(up) + " folders above its own",
            Shown(m_MetadataFull));
    }
    return true;
}

void Doctor::CheckMetadata()
{
    const std::string shown = Shown(m_MetadataFull);
    CheckRunOptions options;
    InputDocument doc;
    Report check;
    CheckResult result;
    CheckFileReport(m_MetadataFull, shown, options, doc, check, result);
    const bool keyRefused = doc.kind == InputKind::Container && doc.text.empty();
    // Said once the stub's key is known to open the container: a summary
    // saying "loads it" must not stand beside "the stub refuses it".
    std::string summary;
    if (!keyRefused)
    {
        m_Report.diags.Append(check.diags, shown);
        summary = check.summary;
        m_StubLoads = doc.text.size() && result.stubStatus == 0;
    }
    else
    {
        std::string message =
            "the container does not open with kvotool's built-in key: a stub built with the "
            "same key refuses it and shows " +
            QuoteMessage(kMetadataLoadFailed);
        if (!m_Key)
        {
            Add(Severity::Error, "container-key", message + " (--key HEX tells whether another key opens it)",
                shown);
        }
        else
        {
            CheckRunOptions withKey;
            withKey.key = m_Key;
            InputDocument keyDoc;
            CheckFileReport(m_MetadataFull, shown, withKey, keyDoc, check, result);
            m_OpenedWithKey = !keyDoc.text.empty();
            Add(Severity::Error, "container-key",
                message + (m_OpenedWithKey
                               ? "; it opens with the given key, so a stub built with that key reads it"
                               : "; it does not open with the given key either"),
                shown);
            if (m_OpenedWithKey)
            {
                // What the rest says holds for a stub built with the given key.
                m_Report.diags.Append(check.diags, shown);
                summary = "with the given key: " + check.summary;
                doc = keyDoc;
            }
        }
    }
    // The stub names its key by a fingerprint: a container under another
    // key is one it refuses, whatever kvotool's own key opens.
    if (doc.kind == InputKind::Container && !doc.text.empty() && !m_StubKeyFingerprint.empty())
    {
        const std::string opened = ContainerKeyFingerprint(m_OpenedWithKey ? m_Key : GetContainerKey());
        if (opened != m_StubKeyFingerprint)
        {
            if (!summary.empty())
            {
                const size_t verdict = summary.find("; the launch stub");
                Add(Severity::Note, "metadata",
                    summary.substr(0, verdict) + "; a stub built with the key that opens it would load it",
                    shown);
            }
            Add(Severity::Error, "container-key",
                "the stub was built with the container key of fingerprint " + m_StubKeyFingerprint +
                    ", but this container opens with the key of fingerprint " + opened +
                    (m_OpenedWithKey ? " (the given key)" : " (kvotool's built-in key)") +
                    ": the stub refuses it and shows " + QuoteMessage(kMetadataLoadFailed),
                shown);
            m_StubLoads = false;
            m_OpenedWithKey = false;
            return;
        }
        Add(Severity::Note, "container-key",
            "the stub's container key (fingerprint " + opened + ") opens this container", shown);
    }
    if (!summary.empty())
        Add(Severity::Note, "metadata", summary, shown);
    if (doc.stubBytes.empty() || result.stubStatus != 0)
        return;
    TakeLoggedLines();
    std::unique_ptr<TitleMetadata> metadata(CreateTitleMetadata());
    if (metadata->LoadFromMemory(doc.stubBytes.data(), static_cast<uint32_t>(doc.stubBytes.size())) != 0)
        return;
    m_Platform = metadata->GetGamePlatform();
    CheckGameExecutable(*metadata);
    CheckInstaller(*metadata);
    TakeLoggedLines();
}

void Doctor::CheckGameExecutable(TitleMetadata& metadata)
{
    const std::string name = metadata.GetPrincipalFileName();
    const std::string consequence =
        "; the launcher cannot start the game, and the stub shows " + QuoteMessage(kGameExecutableNotFound) +
        " when started with -forcePrereleaseCheck (message 0 with -launchDirectly)";
    if (name.empty())
    {
        Add(Severity::Error, "game-executable", "'principalFileName' is empty" + consequence);
        return;
    }
    // The stub under the game's name: the stub resolves the game's path to
    // itself, so -launchDirectly starts it again and again, and so does a
    // launcher starting the game by that name.
    const std::string stubName = m_Stub.substr(m_Stub.find_last_of("/\\") + 1);
    if (SameNameIgnoringCase(name, stubName))
    {
        Add(Severity::Error, "game-executable",
            "'principalFileName' '" + name +
                "' is the stub's own name: a launcher starting the game starts the stub, and -launchDirectly "
                "makes the stub start itself again and again; give the stub another name (release.sh --name)",
            Shown(m_StubFolderFull + kPathSeparator + name));
        return;
    }
    std::string found;
    if (FindFile(m_StubFolderFull, name, found))
    {
        Add(Severity::Note, "game-executable", "the game's executable ('principalFileName')", Shown(found));
        return;
    }
    Add(Severity::Error, "game-executable",
        "the game's executable '" + name + "' ('principalFileName') is not beside the stub" + consequence,
        Shown(m_StubFolderFull + kPathSeparator + name));
}

void Doctor::CheckInstaller(TitleMetadata& metadata)
{
    const std::string platformName =
        m_Platform < GamePlatform::Count ? GamePlatformKeyword(m_Platform) : std::to_string(m_Platform);
    const std::string steamPath = metadata.GetSteamInstallerPath();
    GameFolderProbe folder(m_GameFull);
    LaunchPlan::Installer plan;
    if (!LaunchPlan::PlanInstaller(m_Platform, steamPath.c_str(), m_Policy.given, false, folder, plan))
    {
        Add(Severity::Note, "installer",
            "store front \"" + platformName +
                "\": the stub runs no installer and needs the launcher installed");
        if (!steamPath.empty())
            Add(Severity::Warning, "installer",
                "'steamInstallerPath' is set but 'gamePlatform' is \"" + platformName +
                    "\": the stub ignores it");
        return;
    }
    const std::string relative = plan.inGameFolder;
    const std::string parameters = *plan.parameters ? std::string(" ") + plan.parameters : std::string();
    const std::string when =
        LaunchPlan::WhenInstallerRuns(m_Platform) == LaunchPlan::InstallerRuns::WhileLauncherNotInstalled
            ? "when the launcher is not installed"
            : "at every start while the launcher is not running";
    if (!plan.fallsBack && !steamPath.empty())
        Add(Severity::Warning, "installer",
            "'steamInstallerPath' is set but 'gamePlatform' is \"" + platformName +
                "\": the stub ignores it");
    const std::string intro = "store front \"" + platformName + "\": ";
    std::string found;
    if (plan.program == relative && FindFile(m_GameFull, relative, found))
    {
        m_Installer = relative + parameters;
        m_InstallerFound = true;
        Add(Severity::Note, "installer", intro + "the stub runs " + m_Installer + " elevated " + when,
            Shown(found));
        ReportTrust(found);
        return;
    }
    if (!plan.fallsBack)
    {
        m_Installer = relative;
        Add(Severity::Error, "installer",
            intro + relative + " is missing; the stub runs it " + when + " and shows " +
                QuoteMessage(kPrerequisitesFailed),
            InGame(relative));
        return;
    }
    // Without the installer in the game folder, the plan takes the folder
    // named by steamInstallerPath.
    const std::string& fallback = plan.program;
    m_Installer = fallback + parameters;
#ifndef _WIN32
    if (IsAbsoluteStubPath(steamPath))
    {
        m_InstallerFound = true;
        Add(Severity::Warning, "installer",
            intro + relative + " is missing, so the stub runs " + m_Installer + " " + when +
                "; that absolute path cannot be checked on this system (kvotool.exe on Windows can)");
        return;
    }
#endif
    std::string fallbackPath = fallback;
#ifdef _WIN32
    // A path from the root belongs to the game folder's drive.
    if (fallback[0] == '\\' && !(fallback.size() > 1 && fallback[1] == '\\') && m_GameFull.size() >= 2 &&
        m_GameFull[1] == ':')
        fallbackPath = m_GameFull.substr(0, 2) + fallback;
#endif
    if (FindFile(m_GameFull, fallbackPath, found))
    {
        m_InstallerFound = true;
        Add(Severity::Note, "installer",
            intro + relative + " is missing, so the stub runs " + m_Installer +
                " ('steamInstallerPath') elevated " + when,
            Shown(found));
        ReportTrust(found);
        return;
    }
    Add(Severity::Error, "installer",
        intro + "neither " + relative + " nor " + fallback +
            (steamPath.empty() ? " (the root of the drive: 'steamInstallerPath' is empty)"
                               : " (from 'steamInstallerPath')") +
            " exists; the stub tries to run it " + when + " and shows " + QuoteMessage(kPrerequisitesFailed),
        InGame(relative));
}

void Doctor::Conclude()
{
    Outcome installed, notInstalled;
    const bool loads = m_StubLoads && !m_MetadataFull.empty();
    if (!loads)
    {
        installed.kind = notInstalled.kind = Outcome::ShowsMessage;
        installed.message = notInstalled.message = kMetadataLoadFailed;
    }
    else
    {
        const LaunchPlan::InstallerRuns runs = LaunchPlan::WhenInstallerRuns(m_Platform);
        const bool always = runs == LaunchPlan::InstallerRuns::WhileLauncherNotRunning;
        const bool never = runs == LaunchPlan::InstallerRuns::Never;
        Outcome install;
        if (m_InstallerFound)
        {
            install.kind = Outcome::RunsInstaller;
            install.installer = m_Installer;
        }
        else
        {
            install.kind = Outcome::ShowsMessage;
            install.message = kPrerequisitesFailed;
        }
        installed = always ? install : Outcome();
        if (never)
        {
            notInstalled.kind = Outcome::ShowsMessage;
            notInstalled.message = kLauncherNotFound;
        }
        else
            notInstalled = install;
        if (LaunchPlan::IsPlatformHeldToMinimum(m_Platform))
        {
            const FileVersion& v = LaunchPlan::kMinimumLauncherVersion;
            Add(Severity::Note, "installer",
                "the launcher must be version " + std::to_string(v.Major) + "." + std::to_string(v.Minor) +
                    "." + std::to_string(v.Build) + "." + std::to_string(v.Revision) +
                    " or later for this store front, or the stub shows " + QuoteMessage(kLauncherOutOfDate));
        }
    }
    if (installed == notInstalled)
        m_Report.verdict = "the stub " + Describe(installed);
    else
        m_Report.verdict =
            "with the launcher installed, the stub " + Describe(installed) + "; without it, the stub " +
            Describe(notInstalled) +
            (notInstalled.message == kLauncherNotFound && notInstalled.kind == Outcome::ShowsMessage
                 ? " (the launcher needs to be installed first)"
                 : "");
    if (m_OpenedWithKey)
        m_Report.verdict += " (a stub built with the given key gets further)";
    const std::string metadata = m_MetadataFull.empty() ? std::string() : Shown(m_MetadataFull);
    const uint32_t platform = loads ? m_Platform : kMetadataUnset;
    m_Report.verdictMembers = [installed, notInstalled, metadata, platform](JsonWriter& w)
    {
        if (metadata.empty())
            w.WriteRawValue("metadataFile", "null");
        else
            w.WriteString("metadataFile", metadata.c_str());
        if (platform < GamePlatform::Count)
            w.WriteString("gamePlatform", GamePlatformKeyword(platform));
        else
            w.WriteRawValue("gamePlatform", "null");
        WriteOutcome(w, "launcherInstalled", installed);
        WriteOutcome(w, "launcherNotInstalled", notInstalled);
    };
}

int Doctor::Run()
{
    CheckStub();
    if (FindMetadata())
        CheckMetadata();
    Conclude();
    const size_t errors = m_Report.diags.Errors(), warnings = m_Report.diags.Warnings();
    m_Report.summary = std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") +
                       std::to_string(warnings) + (warnings == 1 ? " warning" : " warnings") +
                       "; verdict: " + m_Report.verdict;
    return errors || (m_Strict && warnings) ? ExitProblems : ExitOk;
}
} // namespace

int RunDoctor(const Invocation& invocation)
{
    const ParsedArguments& parsed = invocation.args;
    const uint8_t* keyPtr = invocation.Key();
    if (parsed.positionals.size() != 1)
        return UsageError("doctor",
                          parsed.positionals.empty() ? "no game folder" : "exactly one game folder, please");
    OutputFormat format = OutputFormat::Text;
    if (!ParseOutputFormat(parsed.Value("format", "text"), format))
        return UsageError("doctor", "--format takes text, json or sarif");
    const std::string stub = parsed.Value("stub", kDefaultStubName);
    if (stub.empty() || IsAbsoluteStubPath(stub))
        return UsageError("doctor", "--stub names the stub's file within the game folder");
    const std::string& game = parsed.positionals[0];
    std::error_code ec;
    if (!std::filesystem::is_directory(FsPath(game), ec))
    {
        std::fprintf(stderr, "kvotool doctor: cannot read the game folder '%s': %s\n", game.c_str(),
                     std::filesystem::exists(FsPath(game), ec) ? "it is not a folder" : "it does not exist");
        return ExitUsage;
    }
    std::filesystem::directory_iterator probe(FsPath(game), ec);
    if (ec)
    {
        std::fprintf(stderr, "kvotool doctor: cannot read the game folder '%s': %s\n", game.c_str(),
                     ec.message().c_str());
        return ExitUsage;
    }
    InstallerPolicy policy;
    std::string policyError;
    for (const std::string& certificate : parsed.Values("installer-signer"))
        if (!AddPolicySigner(certificate, policy, policyError))
            return UsageError("doctor", policyError);
    for (const std::string& keys : parsed.Values("installer-keys"))
        if (!AddPolicyKeys(keys, policy, policyError))
            return UsageError("doctor", policyError);
    Doctor doctor(game, stub, keyPtr, parsed.Has("strict"), policy);
    const int status = doctor.Run();
    return EmitReports("doctor", {doctor.GetReport()}, status, format, parsed);
}
} // namespace kvotool
