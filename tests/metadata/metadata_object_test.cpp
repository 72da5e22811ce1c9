// The metadata object: getters and their statuses, loading from memory,
// clearing, and the log hook.
#include "metadata/metadata_container.h"
#include "metadata/title_metadata.h"
#include "metadata_test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace
{
std::vector<uint8_t> Container(const std::string& text)
{
    std::vector<uint8_t> container;
    EXPECT_EQ(0u, EncodeContainer(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()),
                                  container));
    return container;
}

uint32_t LoadBytes(TitleMetadata& metadata, const std::vector<uint8_t>& bytes)
{
    return metadata.LoadFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

// Every key with a value other than its start value.
const char* const kFullMembers =
    "\"metadataVersion\": 3, \"noxTitleId\": 5501, \"altFriendlyName\": \"Alt\", \"parentApp\": \"Parent\", "
    "\"neverInstallable\": true, \"invisibleUntilRelease\": true, \"preqs\": [\"p1\"], "
    "\"installshieldGuid\": \"{G}\", \"modScan\": true, \"modAllowList\": [\"m1\", \"m2\"], "
    "\"modWhitelist\": [\"w1\"], \"settingsRegistry\": [\"HKCU\\\\A\"], \"settingsRegistryLanguage\": \"int\", "
    "\"cloudSaveRoot\": \"app_qn\", \"cloudSaveFolder\": \"Saves\", \"cloudSaveFiles\": [\"*.sav\"], "
    "\"cloudSaveLocalMods\": true, \"cloudSaveCompression\": true, "
    "\"platforms\": {\"default\": {\"soundCardReq\": true}}, \"checkExitCodes\": false, "
    "\"appCompatFlags\": \"HIGHDPIAWARE\", \"minKvoVersion\": \"2.1\", \"minGameVersion\": \"1.0.3\", "
    "\"safeMode\": true, \"crashpadSamplingPercent\": 25, \"wmpCheck\": true, \"gamePlatform\": \"oculus\", "
    "\"environment\": \"cert\", \"shouldLaunchDirectly\": true, \"steamInstallerPath\": \"steam\\\\setup.exe\", "
    "\"steamAppIds\": [1001], \"epicSdkVersion\": 2, \"epicProductName\": \"EP\", \"epicProductVersion\": \"EV\", "
    "\"epicProductId\": \"EI\", \"epicSandboxId\": \"ES\", \"epicDeploymentId\": \"ED\", \"epicClientId\": \"EC\", "
    "\"epicClientSecret\": \"EX\", \"epicArtifact\": \"EA\", \"epicAudiences\": [\"a1\", \"a2\"], "
    "\"customPrerequisites\": [{\"prerequisiteId\": \"r\", \"friendlyName\": \"R\", \"version\": \"1\", "
    "\"executableName\": \"r.exe\"}]";
} // namespace

TEST(MetadataObjectTest, EveryGetterReadsItsOwnKey)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(kFullMembers)));
    TitleMetadata& m = *metadata;
    struct Check
    {
        const char* what;
        std::string got;
        std::string expected;
    } checks[] = {
        {"metadataVersion", std::to_string(m.GetMetadataVersion()), "3"},
        {"titleId", m.GetTitleId(), "tavrin.test"},
        {"noxTitleId", std::to_string(m.GetNoxTitleId()), "5501"},
        {"friendlyName", m.GetFriendlyName(), "Test Title"},
        {"altFriendlyName", m.GetAltFriendlyName(), "Alt"},
        {"parentApp", m.GetParentApp(), "Parent"},
        {"principalFileName", m.GetPrincipalFileName(), "Test.exe"},
        {"appdataFolderName", m.GetAppdataFolderName(), "TestData"},
        {"neverInstallable", std::to_string(m.GetNeverInstallable()), "1"},
        {"invisibleUntilRelease", std::to_string(m.GetInvisibleUntilRelease()), "1"},
        {"installFolderRegKey", m.GetInstallFolderRegKey(), "SOFTWARE\\Tavrin\\Test"},
        {"installFolderRegValueName", m.GetInstallFolderRegValueName(), "InstallFolder"},
        {"preqs", Texts(m.GetPreqs()).at(0), "p1"},
        {"installshieldGuid list", std::to_string(m.GetInstallshieldGuidList().Count()), "0"},
        {"installshieldGuid", m.GetInstallshieldGuid(), "{G}"},
        {"modScan", std::to_string(m.GetModScan()), "1"},
        {"modAllowList", Texts(m.GetModAllowList()).at(1), "m2"},
        {"settingsRegistry", Texts(m.GetSettingsRegistry()).at(0), "HKCU\\A"},
        {"settingsRegistryLanguage", std::to_string(m.GetSettingsRegistryLanguage()), "0"},
        {"cloudSaveRoot", std::to_string(m.GetCloudSaveRoot()), "4"},
        {"cloudSaveRootName", m.GetCloudSaveRootName(), "app_qn"},
        {"cloudSaveFolder", m.GetCloudSaveFolder(), "Saves"},
        {"cloudSaveFiles", Texts(m.GetCloudSaveFiles()).at(0), "*.sav"},
        {"cloudSaveLocalMods", std::to_string(m.GetCloudSaveLocalMods()), "1"},
        {"cloudSaveCompression", std::to_string(m.GetCloudSaveCompression()), "1"},
        {"platforms", std::to_string(m.GetPlatformFeatures(GamePlatform::Epic)), "8"},
        {"checkExitCodes", std::to_string(m.GetCheckExitCodes()), "0"},
        {"appCompatFlags", m.GetAppCompatFlags(), "HIGHDPIAWARE"},
        {"minKvoVersion", m.GetMinKvoVersion(), "2.1"},
        {"minGameVersion", m.GetMinGameVersion(), "1.0.3"},
        {"safeMode", std::to_string(m.GetSafeMode()), "1"},
        {"languages", Texts(m.GetLanguages()).at(0), "en"},
        {"crashpadSamplingPercent", std::to_string(m.GetCrashpadSamplingPercent()), "25"},
        {"wmpCheck", std::to_string(m.GetWmpCheck()), "1"},
        {"gamePlatform", std::to_string(m.GetGamePlatform()), "3"},
        {"environment", std::to_string(m.GetEnvironment()), "2"},
        {"environmentName", m.GetEnvironmentName(), "cert"},
        {"shouldLaunchDirectly", std::to_string(m.GetShouldLaunchDirectly()), "1"},
        {"steamInstallerPath", m.GetSteamInstallerPath(), "steam\\setup.exe"},
        {"steamAppIds", std::to_string(m.GetSteamAppIds().At(0)), "1001"},
        {"epicSdkVersion", std::to_string(m.GetEpicSdkVersion()), "2"},
        {"epicProductName", m.GetEpicProductName(), "EP"},
        {"epicProductVersion", m.GetEpicProductVersion(), "EV"},
        {"epicProductId", m.GetEpicProductId(), "EI"},
        {"epicSandboxId", m.GetEpicSandboxId(), "ES"},
        {"epicDeploymentId", m.GetEpicDeploymentId(), "ED"},
        {"epicClientId", m.GetEpicClientId(), "EC"},
        {"epicClientSecret", m.GetEpicClientSecret(), "EX"},
        {"epicArtifact", m.GetEpicArtifact(), "EA"},
        {"epicAudiences", Texts(m.GetEpicAudiences()).at(1), "a2"},
        {"customPrerequisites", m.GetCustomPrerequisites().At(0).GetExecutableName(), "r.exe"},
    };
    for (const Check& check : checks)
        EXPECT_EQ(check.expected, check.got) << check.what;
    EXPECT_TRUE(m.HasEpicConfig());
    EXPECT_TRUE(m.HasSteamAppIds());
    EXPECT_EQ(MetadataStatus::Ok, m.GetLastStatus());
    EXPECT_EQ(Document(kFullMembers), m.GetDocumentText());
}

TEST(MetadataObjectTest, NothingLoaded)
{
    MetadataLogCapture log;
    auto metadata = NewMetadata();
    EXPECT_EQ(std::vector<std::string>{"V Creating Metadata Object"}, MetadataLogCapture::Lines());
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::NoMetadata, metadata->GetLastStatus());
    EXPECT_EQ(std::vector<std::string>{"Could not read field 'titleId', no metadata available."},
              MetadataLogCapture::ErrorsOnly());
    EXPECT_EQ(-1, metadata->GetNoxTitleId());
    EXPECT_EQ(100, metadata->GetCrashpadSamplingPercent());
    EXPECT_TRUE(metadata->GetCheckExitCodes());
    EXPECT_EQ(MetadataStatus::NoMetadata, metadata->GetLastStatus());
    EXPECT_STREQ("", metadata->GetDocumentText());
}

TEST(MetadataObjectTest, MissingAndInvalidFields)
{
    MetadataLogCapture log;
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document("\"crashpadSamplingPercent\": \"none\"")));
    EXPECT_STREQ("", metadata->GetAltFriendlyName());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());
    EXPECT_EQ(100, metadata->GetCrashpadSamplingPercent());
    EXPECT_EQ(MetadataStatus::FieldInvalid, metadata->GetLastStatus());
    EXPECT_EQ(2u, MetadataLogCapture::CountOf(
                      "E Could not read field 'crashpadSamplingPercent', field was not found in metadata."));
    EXPECT_EQ(-1, metadata->GetNoxTitleId());
    EXPECT_TRUE(metadata->GetCheckExitCodes());
    EXPECT_EQ(0u, metadata->GetGamePlatform());
    EXPECT_EQ(kMetadataUnset, metadata->GetEnvironment());
    EXPECT_STREQ("", metadata->GetEnvironmentName());
    EXPECT_EQ(kMetadataUnset, metadata->GetCloudSaveRoot());
    EXPECT_STREQ("", metadata->GetCloudSaveRootName());
    EXPECT_FALSE(metadata->HasSteamAppIds());
    EXPECT_FALSE(metadata->HasEpicConfig());

    // A required member absent, or present but invalid, fails the load and clears the object.
    for (const std::string& text :
         {std::string("{\"friendlyName\": \"x\"}"), std::string("[{\"titleId\": \"x\"}]"),
          "{\"titleId\": \"T\", \"friendlyName\": \"F\", \"principalFileName\": \"P\", \"appdataFolderName\": \"A\", "
          "\"installFolderRegKey\": \"K\", \"installFolderRegValueName\": \"V\", \"languages\": [\"" +
              std::string(300, 'l') + "\"]}"})
    {
        SCOPED_TRACE(text);
        auto other = NewMetadata();
        uint32_t status = Load(*other, text);
        EXPECT_NE(MetadataStatus::Ok, status);
        EXPECT_EQ(text.find("languages") != std::string::npos ? MetadataStatus::FieldInvalid
                                                                              : MetadataStatus::RequiredFieldMissing,
                  status);
        EXPECT_STREQ("", other->GetDocumentText());
        EXPECT_STREQ("", other->GetTitleId());
        EXPECT_EQ(MetadataStatus::RequiredFieldMissing, other->GetLastStatus());
        EXPECT_EQ(0, other->GetNoxTitleId()); // reset value, not the start value
    }
}

TEST(MetadataObjectTest, NegativeVersionDefersTheWalk)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, "{\"metadataVersion\": -1, \"friendlyName\": \"F\"}"));
    EXPECT_EQ(-1, metadata->GetMetadataVersion());
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::RequiredFieldMissing, metadata->GetLastStatus());
    EXPECT_STREQ("F", metadata->GetFriendlyName());
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
}

TEST(MetadataObjectTest, ModAllowListFallsBackToTheOlderKey)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document("\"modWhitelist\": [\"old\"]")));
    EXPECT_EQ(std::vector<std::string>{"old"}, Texts(metadata->GetModAllowList()));
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());

    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document()));
    EXPECT_EQ(0u, metadata->GetModAllowList().Count());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());
}

TEST(MetadataObjectTest, EpicConfigDependsOnTheSdkVersionAlone)
{
    const std::string texts = "\"epicProductName\": \"a\", \"epicProductVersion\": \"b\", \"epicProductId\": \"c\", "
                              "\"epicSandboxId\": \"d\", \"epicDeploymentId\": \"e\", \"epicClientId\": \"f\", "
                              "\"epicClientSecret\": \"g\", \"epicArtifact\": \"h\"";
    struct Case
    {
        std::string members;
        bool expected;
        uint32_t lastStatus;
    } cases[] = {
        {texts, false, MetadataStatus::OptionalFieldMissing},
        {texts + ", \"epicSdkVersion\": 0", false, MetadataStatus::Ok},
        {"\"epicSdkVersion\": 1", true, MetadataStatus::OptionalFieldMissing},
        {texts + ", \"epicSdkVersion\": 1", true, MetadataStatus::Ok},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.members);
        auto metadata = NewMetadata();
        ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(c.members)));
        EXPECT_EQ(c.expected, metadata->HasEpicConfig());
        EXPECT_EQ(c.lastStatus, metadata->GetLastStatus());
    }
}

TEST(MetadataObjectTest, ClearGivesResetValuesAndSecondLoadStartsFresh)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(kFullMembers)));
    metadata->Clear();
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
    EXPECT_STREQ("", metadata->GetDocumentText());
    EXPECT_EQ(0, metadata->GetNoxTitleId());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());
    EXPECT_EQ(0, metadata->GetCrashpadSamplingPercent());
    EXPECT_FALSE(metadata->GetCheckExitCodes());
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::RequiredFieldMissing, metadata->GetLastStatus());
    EXPECT_EQ(0u, metadata->GetPlatformFeatures(GamePlatform::Default));

    // Fields read from the first document do not survive the second load.
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(kFullMembers)));
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document("\"titleId\": \"ignored, the first wins\"")));
    EXPECT_STREQ("tavrin.test", metadata->GetTitleId());
    EXPECT_STREQ("", metadata->GetAltFriendlyName());
    EXPECT_EQ(-1, metadata->GetNoxTitleId());
    EXPECT_EQ(100, metadata->GetCrashpadSamplingPercent());
    EXPECT_TRUE(metadata->GetCheckExitCodes());
    EXPECT_EQ(0u, metadata->GetCustomPrerequisites().Count());
}

TEST(MetadataObjectTest, LoadFromMemoryRecognitionAndLimits)
{
    const std::string document = Document("\"gamePlatform\": \"epic\"");
    std::string padded = document;
    padded.resize(kMaxMetadataSize, ' ');
    std::vector<uint8_t> container = Container(document);
    std::vector<uint8_t> truncated(container.begin(), container.end() - 16);
    std::vector<uint8_t> headerOnly = Container("{\"a\":1}");
    headerOnly.resize(kMinContainerSize - 16);
    headerOnly[8] = static_cast<uint8_t>(headerOnly.size() - kContainerHeaderSize);
    std::vector<uint8_t> notJson = Container("{\"titleId\": \"never closed\"");
    std::vector<uint8_t> damaged = container;
    damaged[damaged.size() - 17] ^= 0x80;

    struct Case
    {
        const char* what;
        std::vector<uint8_t> bytes;
        uint32_t status;
    } cases[] = {
        {"plain", std::vector<uint8_t>(document.begin(), document.end()), MetadataStatus::Ok},
        {"container", container, MetadataStatus::Ok},
        {"exactly 8 MiB", std::vector<uint8_t>(padded.begin(), padded.end()), MetadataStatus::Ok},
        {"equals syntax", {}, MetadataStatus::Ok},
        {"empty", {}, MetadataStatus::BadFormat},
        {"byte-order mark", {}, MetadataStatus::BadFormat},
        {"container length field off", truncated, MetadataStatus::BadFormat},
        {"container of 96 bytes", headerOnly, MetadataStatus::BadFormat},
        {"container of text that does not parse", notJson, MetadataStatus::BadFormat},
        {"container with damaged padding", damaged, MetadataStatus::NoMetadata},
        {"unterminated", {}, MetadataStatus::BadFormat},
    };
    // Recognition still wants a brace and a double quote among the first 16 bytes.
    std::string equals = "{\"titleId\"=T, friendlyName=F, principalFileName=P, appdataFolderName=A, "
                         "installFolderRegKey=K, installFolderRegValueName=V, languages={en, de}, gamePlatform=epic}";
    cases[3].bytes.assign(equals.begin(), equals.end());
    std::string bom = "\xEF\xBB\xBF" + document;
    cases[5].bytes.assign(bom.begin(), bom.end());
    std::string unterminated = document.substr(0, document.size() - 1);
    cases[10].bytes.assign(unterminated.begin(), unterminated.end());

    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        auto metadata = NewMetadata();
        EXPECT_EQ(c.status, LoadBytes(*metadata, c.bytes));
        if (c.status == MetadataStatus::Ok)
        {
            EXPECT_EQ(GamePlatform::Epic, metadata->GetGamePlatform());
            EXPECT_NE(nullptr, std::strstr(metadata->GetDocumentText(), "titleId"));
        }
    }

    auto metadata = NewMetadata();
    padded.push_back(' ');
    EXPECT_EQ(MetadataStatus::TooLarge, Load(*metadata, padded));
    EXPECT_EQ(MetadataStatus::BadFormat, metadata->LoadFromMemory(nullptr, 10));
}

TEST(MetadataLogTest, FormatsCutsAndReportsTheCallbackResult)
{
    EXPECT_TRUE(MetadataLog(Error, "nobody listens %d", 1));
    {
        MetadataLogCapture log;
        EXPECT_TRUE(MetadataLog(Warning, "value %d of %s", 7, "seven"));
        std::string longText(2000, 'z');
        EXPECT_TRUE(MetadataLog(Display, "%s", longText.c_str()));
        ASSERT_EQ(2u, MetadataLogCapture::Lines().size());
        EXPECT_EQ("W value 7 of seven", MetadataLogCapture::Lines()[0]);
        EXPECT_EQ("D " + std::string(1023, 'z'), MetadataLogCapture::Lines()[1]);
    }
    SetMetadataLogCallback([](MetadataLogMessage&) { return 1; });
    EXPECT_FALSE(MetadataLog(Error, "refused"));
    SetMetadataLogCallback(nullptr);
}

TEST(MetadataObjectTest, MembersAfterAMissingCommaAreOutOfReach)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok,
              Load(*metadata, Document("\"altFriendlyName\": \"A\", \"parentApp\": \"P\" \"safeMode\": true, "
                                       "\"wmpCheck\": true")));
    EXPECT_STREQ("A", metadata->GetAltFriendlyName());
    EXPECT_STREQ("P", metadata->GetParentApp());
    EXPECT_FALSE(metadata->GetSafeMode());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());
    EXPECT_FALSE(metadata->GetWmpCheck());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());

    // Before the break a key given twice reads its first value.
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document("\"parentApp\": \"one\", \"parentApp\": \"two\"")));
    EXPECT_STREQ("one", metadata->GetParentApp());
}
