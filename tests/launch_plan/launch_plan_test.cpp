// The launch plan: where title.kvo is searched, which installer runs and how,
// and the launcher's command line, from metadata documents and folder contents.
#include "launch/launch_plan.h"
#include "metadata/metadata_enums.h"
#include "metadata/metadata_search.h"
#include "metadata/title_metadata.h"
#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace
{
using Places = std::vector<std::string>;

// A folder holding exactly FILES; remembers what it was asked.
class FakeFolder final : public LaunchPlan::FolderProbe
{
public:
    explicit FakeFolder(std::set<std::string> files) : m_Files(std::move(files)) {}
    bool FileExists(const std::string& path) override
    {
        asked.push_back(path);
        return m_Files.count(path) != 0;
    }
    std::vector<std::string> asked;

private:
    std::set<std::string> m_Files;
};

std::unique_ptr<TitleMetadata> Load(const std::string& members)
{
    // The first member of a name counts: the title id "mygame" unless MEMBERS give one.
    const std::string titleId =
        members.find("\"titleId\"") == std::string::npos ? R"("titleId":"mygame",)" : "";
    const std::string document = R"({"metadataVersion":1,)" + titleId +
                                 R"("friendlyName":"My Game",)"
                                 R"("principalFileName":"MyGame.exe","appdataFolderName":"My Game",)"
                                 R"("installFolderRegKey":"SOFTWARE\\My Studio\\My Game",)"
                                 R"("installFolderRegValueName":"InstallFolder","languages":["en"])" +
                                 (members.empty() ? "" : "," + members) + "}";
    std::unique_ptr<TitleMetadata> metadata(CreateTitleMetadata());
    EXPECT_EQ(metadata->LoadFromMemory(document.data(), static_cast<uint32_t>(document.size())),
              MetadataStatus::Ok)
        << document;
    return metadata;
}
} // namespace

TEST(LaunchPlan, MetadataIsSearchedFromTheStubsFolderAndUpToThreeAbove)
{
    for (auto [folder, separator, expected] : Rows<std::string, char, Places>{
             {"C:\\Games\\Title\\bin\\x64\\deep",
              '\\',
              {"C:\\Games\\Title\\bin\\x64\\deep\\title.kvo", "C:\\Games\\Title\\bin\\x64\\title.kvo",
               "C:\\Games\\Title\\bin\\title.kvo", "C:\\Games\\Title\\title.kvo"}}, // no fifth place
             {"C:\\Title", '\\', {"C:\\Title\\title.kvo", "C:\\title.kvo"}},        // the drive has no parent
             {"C:\\", '\\', {"C:\\title.kvo"}},                                     // one separator, not two
             {"Z:\\a/b", '\\', {"Z:\\a/b\\title.kvo", "Z:\\title.kvo"}},            // only "\" separates
             // A share's folders are walked like any other, down to its leading separator.
             {"\\\\server\\share\\game",
              '\\',
              {"\\\\server\\share\\game\\title.kvo", "\\\\server\\share\\title.kvo", "\\\\server\\title.kvo",
               "\\title.kvo"}},
             {"/srv/game", '/', {"/srv/game/title.kvo", "/srv/title.kvo"}}}) // kvotool doctor elsewhere
        EXPECT_EQ(LaunchPlan::MetadataPlaces(folder, separator), expected) << folder;
    EXPECT_EQ(LaunchPlan::MetadataRequest("D:\\Game"), "D:\\Game\\title.kvo");
}

// The loader walks wide paths by the same rule and stops at the first file.
TEST(LaunchPlan, MetadataSearchStopsAtTheFirstPlaceFound)
{
    for (auto [path, foundAt, visits] :
         Rows<std::wstring, size_t, size_t>{{L"C:\\a\\b\\c\\d\\title.kvo", 0, 1},
                                            {L"C:\\a\\b\\c\\d\\title.kvo", 2, 3},
                                            {L"C:\\a\\b\\c\\d\\title.kvo", 9, 4},
                                            {L"title.kvo", 9, 0}}) // no folder part
    {
        std::vector<std::wstring> visited;
        const bool found = VisitMetadataPlaces(path, L'\\',
                                               [&](const std::wstring& place)
                                               {
                                                   visited.push_back(place);
                                                   return visited.size() == foundAt + 1;
                                               });
        EXPECT_EQ(found, foundAt < 4) << foundAt;
        EXPECT_EQ(visited.size(), visits) << foundAt;
    }
}

TEST(LaunchPlan, InstallerRunsByStoreFront)
{
    using Runs = LaunchPlan::InstallerRuns;
    for (auto [platform, expected] :
         Rows<uint32_t, Runs>{{GamePlatform::Default, Runs::Never},
                              {GamePlatform::Steam, Runs::WhileLauncherNotInstalled},
                              {GamePlatform::Viveport, Runs::WhileLauncherNotRunning},
                              {GamePlatform::Oculus, Runs::WhileLauncherNotRunning},
                              {GamePlatform::Epic, Runs::WhileLauncherNotRunning},
                              {GamePlatform::Disk, Runs::Never},
                              {kMetadataUnset, Runs::Never}})
        EXPECT_EQ(LaunchPlan::WhenInstallerRuns(platform), expected) << platform;
}

TEST(LaunchPlan, InstallerProgramParametersAndCheck)
{
    using Check = LaunchPlan::InstallerCheck;
    const std::string steamHere = "Redistributables\\Tavrin-Games-Launcher.exe";
    struct Row
    {
        uint32_t platform;
        const char* steamPath;
        bool signers;
        std::set<std::string> files;
        std::string program; // empty: no installer
        std::string parameters;
        Check check;
    };
    const Row rows[] = {
        {GamePlatform::Steam, "D:\\Steam", true, {steamHere}, steamHere, "/s /t", Check::Signer},
        {GamePlatform::Steam, "D:\\Steam", false, {steamHere}, steamHere, "/s /t", Check::None},
        // Without its own installer, Steam's comes from steamInstallerPath; an
        // empty one names the root of the working directory's drive.
        {GamePlatform::Steam,
         "D:\\Steam",
         true,
         {},
         "D:\\Steam\\Tavrin-Games-Launcher.exe",
         "/s /t",
         Check::Signer},
        {GamePlatform::Steam, "", false, {}, "\\Tavrin-Games-Launcher.exe", "/s /t", Check::None},
        // A share or a device is refused whether or not the build has signers.
        {GamePlatform::Steam,
         "\\\\srv\\s",
         false,
         {},
         "\\\\srv\\s\\Tavrin-Games-Launcher.exe",
         "/s /t",
         Check::RefusedPath},
        {GamePlatform::Steam,
         "//srv/s",
         true,
         {},
         "//srv/s\\Tavrin-Games-Launcher.exe",
         "/s /t",
         Check::RefusedPath},
        // The other store fronts' installers are named whether or not they are there.
        {GamePlatform::Viveport,
         "D:\\Steam",
         true,
         {},
         "Installers\\Tavrin-Games-Vive.exe",
         "",
         Check::Signer},
        {GamePlatform::Oculus, "", false, {}, "Installers\\Tavrin-Games-Oculus.exe", "", Check::None},
        {GamePlatform::Epic,
         "",
         true,
         {"Redistributables\\Tavrin-Games-Epic.exe"},
         "Redistributables\\Tavrin-Games-Epic.exe",
         "",
         Check::Signer},
        {GamePlatform::Default, "", true, {steamHere}, "", "", Check::None},
        {GamePlatform::Disk, "D:\\Steam", true, {steamHere}, "", "", Check::None},
        {kMetadataUnset, "", true, {}, "", "", Check::None},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(std::to_string(row.platform) + " " + row.steamPath);
        FakeFolder folder(row.files);
        LaunchPlan::Installer installer;
        installer.program = "left over";
        ASSERT_EQ(
            LaunchPlan::PlanInstaller(row.platform, row.steamPath, row.signers, false, folder, installer),
            !row.program.empty());
        EXPECT_EQ(installer.program, row.program);
        EXPECT_EQ(std::string(installer.parameters), row.parameters);
        EXPECT_EQ(installer.check, row.check);
        EXPECT_EQ(installer.fallsBack, row.platform == GamePlatform::Steam);
        // Only Steam's choice depends on the folder.
        EXPECT_EQ(folder.asked, row.platform == GamePlatform::Steam ? Places{steamHere} : Places{});
    }
}

TEST(LaunchPlan, SkipInstallersPlansNoInstallerAndLooksAtNothing)
{
    for (uint32_t platform : {GamePlatform::Steam, GamePlatform::Epic, GamePlatform::Viveport})
    {
        FakeFolder folder({"Redistributables\\Tavrin-Games-Launcher.exe"});
        LaunchPlan::Installer installer;
        EXPECT_FALSE(LaunchPlan::PlanInstaller(platform, "", true, true, folder, installer)) << platform;
        EXPECT_TRUE(installer.program.empty()) << platform;
        EXPECT_EQ(folder.asked, Places{}) << platform;
    }
}

TEST(LaunchPlan, LauncherVersionComparedComponentWiseAgainstTheMinimum)
{
    const FileVersion& minimum = LaunchPlan::kMinimumLauncherVersion;
    const struct
    {
        FileVersion version;
        bool atLeast;
    } cases[] = {
        {{1, 0, 2, 999}, false}, {{1, 0, 3, 0}, true},  {{1, 0, 3, 1}, true},   {{1, 1, 0, 0}, true},
        {{2, 0, 0, 0}, true},    {{0, 9, 9, 9}, false}, {{1, 0, 3, -1}, false}, // signed components
        {{-1, 0, 0, 0}, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(LaunchPlan::IsVersionAtLeast(c.version, minimum), c.atLeast)
            << c.version.Major << "." << c.version.Minor << "." << c.version.Build << "."
            << c.version.Revision;

    const bool held[] = {false, true, true, true, false, true, false};
    for (uint32_t platform = 0; platform < 7; ++platform)
        EXPECT_EQ(LaunchPlan::IsPlatformHeldToMinimum(platform), held[platform]) << platform;
    EXPECT_FALSE(LaunchPlan::IsPlatformHeldToMinimum(0xFFFFFFFF));
}

TEST(LaunchPlan, LauncherCommandLineByStoreFront)
{
    const std::wstring target = L"C:\\Games\\My Game";
    const std::wstring own = L"-stub_log \"Quoted Arg\"";
    struct Row
    {
        std::string members;
        bool hasOwn;
        std::wstring middle; // between "-skipPatcherCheck " and " @args.txt"
        const wchar_t* environment;
        const char* log;
    };
    const Row rows[] = {
        {"", false, L"-minmodeApp=mygame", nullptr, nullptr},
        {R"("gamePlatform":"default","titleId":"jeu-\u00e9")", true, L"-minmodeApp=jeu-\u00e9 " + own,
         nullptr, nullptr},
        // The domain environment goes only with the player's own arguments.
        {R"("environment":"prod")", false, L"-minmodeApp=mygame", nullptr, nullptr},
        {R"("environment":"prod")", true, L"-minmodeApp=mygame " + own + L" -vexilDomainEnv=prod", nullptr,
         nullptr},
        {R"("gamePlatform":"steam","steamAppIds":[111,222])", true,
         L"-steamAppId=111 -steamLocation \"" + target + L"\" " + own, nullptr, "Preparing Steam launch"},
        {R"("gamePlatform":"steam","steamAppIds":["0x1F4"])", false,
         L"-steamAppId=500 -steamLocation \"" + target + L"\"", nullptr, "Preparing Steam launch"},
        {R"("gamePlatform":"steam","steamAppIds":[18446744073709551615])", false,
         L"-steamAppId=18446744073709551615 -steamLocation \"" + target + L"\"", nullptr,
         "Preparing Steam launch"},
        {R"("gamePlatform":"steam","steamAppIds":[])", false, L"-steamLocation \"" + target + L"\"", nullptr,
         "Preparing Steam launch"},
        {R"("gamePlatform":"viveport")", false, L"-viveportApp=mygame -viveportLocation \"" + target + L"\"",
         L"ViveportLocation", nullptr},
        {R"("gamePlatform":"oculus")", false, L"-oculusApp=mygame", nullptr, nullptr},
        {R"("gamePlatform":"epic","epicSdkVersion":3,"epicProductId":"P")", false, L"-epicAppId=mygame",
         nullptr, "Preparing Epic launch"},
        {R"("gamePlatform":"disk")", true, own, nullptr, "Unknown External Platform Launch"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.members + (row.hasOwn ? " with own arguments" : ""));
        const std::unique_ptr<TitleMetadata> metadata = Load(row.members);
        const LaunchPlan::LauncherCall call =
            LaunchPlan::PlanLauncherCall(*metadata, target, row.hasOwn ? &own : nullptr);
        EXPECT_EQ(call.commandLine, L"-skipPatcherCheck " + row.middle + L" @args.txt");
        EXPECT_EQ(std::wstring(call.environmentName ? call.environmentName : L""),
                  std::wstring(row.environment ? row.environment : L""));
        EXPECT_EQ(std::string(call.logLine ? call.logLine : ""), std::string(row.log ? row.log : ""));
    }
}
