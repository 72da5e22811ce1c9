// The metadata object: getters and their statuses, loading from memory,
// clearing, and the log hook.
#include "metadata/title_metadata.h"
#include "metadata_test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace
{
std::string Bytes(const std::vector<uint8_t>& bytes)
{
    return std::string(bytes.begin(), bytes.end());
}
} // namespace

TEST(MetadataObjectTest, EveryGetterReadsItsOwnKey)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(kFullMembers)));
    TitleMetadata& m = *metadata;
#define GETTER(call, expected) {#call, Str(m.call), expected}
    const struct
    {
        const char* call;
        std::string got;
        const char* expected;
    } checks[] = {
        GETTER(GetMetadataVersion(), "3"), GETTER(GetTitleId(), "tavrin.test"),
        GETTER(GetNoxTitleId(), "5501"), GETTER(GetFriendlyName(), "Test Title"),
        GETTER(GetAltFriendlyName(), "Alt"), GETTER(GetParentApp(), "Parent"),
        GETTER(GetPrincipalFileName(), "Test.exe"), GETTER(GetAppdataFolderName(), "TestData"),
        GETTER(GetNeverInstallable(), "1"), GETTER(GetInvisibleUntilRelease(), "1"),
        GETTER(GetInstallFolderRegKey(), "SOFTWARE\\Tavrin\\Test"),
        GETTER(GetInstallFolderRegValueName(), "InstallFolder"), GETTER(GetPreqs(), "[p1]"),
        GETTER(GetInstallshieldGuidList(), "[]"), GETTER(GetInstallshieldGuid(), "{G}"),
        GETTER(GetModScan(), "1"), GETTER(GetModAllowList(), "[m1,m2]"),
        GETTER(GetSettingsRegistry(), "[HKCU\\A]"), GETTER(GetSettingsRegistryLanguage(), "0"),
        GETTER(GetCloudSaveRoot(), "4"), GETTER(GetCloudSaveRootName(), "app_qn"),
        GETTER(GetCloudSaveFolder(), "Saves"), GETTER(GetCloudSaveFiles(), "[*.sav]"),
        GETTER(GetCloudSaveLocalMods(), "1"), GETTER(GetCloudSaveCompression(), "1"),
        GETTER(GetPlatformFeatures(GamePlatform::Epic), "8"), GETTER(GetCheckExitCodes(), "0"),
        GETTER(GetAppCompatFlags(), "HIGHDPIAWARE"), GETTER(GetMinKvoVersion(), "2.1"),
        GETTER(GetMinGameVersion(), "1.0.3"), GETTER(GetSafeMode(), "1"), GETTER(GetLanguages(), "[en]"),
        GETTER(GetCrashpadSamplingPercent(), "25"), GETTER(GetWmpCheck(), "1"),
        GETTER(GetGamePlatform(), "3"), GETTER(GetEnvironment(), "2"), GETTER(GetEnvironmentName(), "cert"),
        GETTER(GetShouldLaunchDirectly(), "1"), GETTER(GetSteamInstallerPath(), "steam\\setup.exe"),
        GETTER(GetSteamAppIds(), "[1001]"), GETTER(GetEpicSdkVersion(), "2"),
        GETTER(GetEpicProductName(), "EP"), GETTER(GetEpicProductVersion(), "EV"),
        GETTER(GetEpicProductId(), "EI"), GETTER(GetEpicSandboxId(), "ES"),
        GETTER(GetEpicDeploymentId(), "ED"), GETTER(GetEpicClientId(), "EC"),
        GETTER(GetEpicClientSecret(), "EX"), GETTER(GetEpicArtifact(), "EA"),
        GETTER(GetEpicAudiences(), "[a1,a2]"),
        GETTER(GetCustomPrerequisites().At(0).GetExecutableName(), "r.exe"),
    };
#undef GETTER
    for (const auto& check : checks)
        EXPECT_EQ(check.expected, check.got) << check.call;
    EXPECT_TRUE(m.HasEpicConfig());
    EXPECT_TRUE(m.HasSteamAppIds());
    EXPECT_EQ(MetadataStatus::Ok, m.GetLastStatus());
    EXPECT_EQ(Document(kFullMembers), m.GetDocumentText());
    EXPECT_EQ(0u, m.GetPlatformFeatures(GamePlatform::Count));
    EXPECT_EQ(MetadataStatus::IndexOutOfRange, m.GetLastStatus());
    EXPECT_EQ(8u, m.GetPlatformFeatures(GamePlatform::Default));
    EXPECT_EQ(MetadataStatus::Ok, m.GetLastStatus());
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
    EXPECT_STREQ("", metadata->GetDocumentText());
}

TEST(MetadataObjectTest, MissingAndInvalidFields)
{
    MetadataLogCapture log;
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok,
              Load(*metadata, Document("\"crashpadSamplingPercent\": \"none\", \"environment\": \"staging\"")));
    // Each getter records its own status, whatever the one before it recorded.
    EXPECT_STREQ("", metadata->GetAltFriendlyName());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());
    EXPECT_EQ(100, metadata->GetCrashpadSamplingPercent());
    EXPECT_EQ(MetadataStatus::FieldInvalid, metadata->GetLastStatus());
    EXPECT_EQ(2u, MetadataLogCapture::CountOf(
                      "E Could not read field 'crashpadSamplingPercent', field was not found in metadata."));
    EXPECT_FALSE(metadata->HasSteamAppIds());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());
    EXPECT_EQ(kMetadataUnset, metadata->GetEnvironment());
    EXPECT_EQ(MetadataStatus::FieldInvalid, metadata->GetLastStatus());
    // The text form of the same key reads although the enumeration failed.
    EXPECT_STREQ("staging", metadata->GetEnvironmentName());
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());

    // A required member absent, or present but invalid, fails the load and clears the object.
    for (const std::string& text :
         {std::string("{\"friendlyName\": \"x\"}"), std::string("[{\"titleId\": \"x\"}]"),
          "{\"titleId\": \"T\", \"friendlyName\": \"F\", \"principalFileName\": \"P\", \"appdataFolderName\": \"A\", "
          "\"installFolderRegKey\": \"K\", \"installFolderRegValueName\": \"V\", \"languages\": [\"" +
              std::string(300, 'l') + "\"]}"})
    {
        SCOPED_TRACE(text);
        auto other = NewMetadata();
        EXPECT_EQ(text.find("languages") != std::string::npos ? MetadataStatus::FieldInvalid
                                                              : MetadataStatus::RequiredFieldMissing,
                  Load(*other, text));
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
    EXPECT_EQ("[old]", Str(metadata->GetModAllowList()));
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
    const std::tuple<std::string, bool, uint32_t> cases[] = {
        {texts, false, MetadataStatus::OptionalFieldMissing},
        {texts + ", \"epicSdkVersion\": 0", false, MetadataStatus::Ok},
        {"\"epicSdkVersion\": 1", true, MetadataStatus::OptionalFieldMissing},
        {texts + ", \"epicSdkVersion\": 1", true, MetadataStatus::Ok},
    };
    for (const auto& [members, expected, lastStatus] : cases)
    {
        SCOPED_TRACE(members);
        auto metadata = NewMetadata();
        ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(members)));
        EXPECT_EQ(expected, metadata->HasEpicConfig());
        EXPECT_EQ(lastStatus, metadata->GetLastStatus());
    }
}

// The values a clear leaves are checked field by field in the key table test.
TEST(MetadataObjectTest, ClearForgetsTheDocument)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(kFullMembers)));
    metadata->GetPlatformFeatures(GamePlatform::Count);
    metadata->Clear();
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
    EXPECT_STREQ("", metadata->GetDocumentText());
    EXPECT_EQ(0, metadata->GetNoxTitleId());
    EXPECT_EQ(MetadataStatus::OptionalFieldMissing, metadata->GetLastStatus());
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::RequiredFieldMissing, metadata->GetLastStatus());
}

TEST(MetadataObjectTest, LoadFromMemoryRecognitionAndLimits)
{
    const std::string document = Document("\"gamePlatform\": \"epic\"");
    std::string padded = document;
    padded.resize(kMaxMetadataSize, ' ');
    const std::string container = Bytes(Sealed(document));
    std::string headerOnly = Bytes(Sealed("{\"a\":1}")).substr(0, kMinContainerSize - 16);
    headerOnly[8] = static_cast<char>(headerOnly.size() - kContainerHeaderSize);
    std::string damaged = container;
    damaged[damaged.size() - 17] ^= static_cast<char>(0x80);
    const std::tuple<const char*, std::string, uint32_t> cases[] = {
        {"plain", document, MetadataStatus::Ok},
        {"container", container, MetadataStatus::Ok},
        {"exactly 8 MiB", padded, MetadataStatus::Ok},
        // Recognition still wants a brace and a double quote among the first 16 bytes.
        {"equals syntax",
         "{\"titleId\"=T, friendlyName=F, principalFileName=P, appdataFolderName=A, installFolderRegKey=K, "
         "installFolderRegValueName=V, languages={en, de}, gamePlatform=epic}",
         MetadataStatus::Ok},
        {"one byte over 8 MiB", padded + " ", MetadataStatus::TooLarge},
        {"empty", "", MetadataStatus::BadFormat},
        {"byte-order mark", "\xEF\xBB\xBF" + document, MetadataStatus::BadFormat},
        {"container length field off", container.substr(0, container.size() - 16), MetadataStatus::BadFormat},
        {"container of 96 bytes", headerOnly, MetadataStatus::BadFormat},
        {"container of text that does not parse", Bytes(Sealed("{\"titleId\": \"never closed\"")),
         MetadataStatus::BadFormat},
        {"container with damaged padding", damaged, MetadataStatus::NoMetadata},
        {"unterminated", document.substr(0, document.size() - 1), MetadataStatus::BadFormat},
    };
    for (const auto& [what, bytes, status] : cases)
    {
        SCOPED_TRACE(what);
        auto metadata = NewMetadata();
        EXPECT_EQ(status, Load(*metadata, bytes));
        if (status == MetadataStatus::Ok)
        {
            EXPECT_EQ(GamePlatform::Epic, metadata->GetGamePlatform());
            EXPECT_NE(nullptr, std::strstr(metadata->GetDocumentText(), "titleId"));
        }
    }
    EXPECT_EQ(MetadataStatus::BadFormat, NewMetadata()->LoadFromMemory(nullptr, 10));
}

TEST(MetadataLogTest, FormatsCutsAndReportsTheCallbackResult)
{
    EXPECT_TRUE(MetadataLog(Error, "nobody listens %d", 1));
    {
        MetadataLogCapture log;
        EXPECT_TRUE(MetadataLog(Warning, "value %d of %s", 7, "seven"));
        EXPECT_TRUE(MetadataLog(Display, "%s", std::string(2000, 'z').c_str()));
        EXPECT_EQ((std::vector<std::string>{"W value 7 of seven", "D " + std::string(1023, 'z')}),
                  MetadataLogCapture::Lines());
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
