// The metadata object: getters and their statuses, loading from memory, clearing, and the log hook.
#include "metadata/title_metadata.h"
#include "metadata_test_support.h"

TEST(MetadataObjectTest, EveryGetterReadsItsOwnKey)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(kFullMembers)));
    TitleMetadata& m = *metadata;
#define G(call, expected) EXPECT_EQ(expected, Str(m.call)) << #call
    G(GetMetadataVersion(), "3");
    G(GetTitleId(), "tavrin.test");
    G(GetNoxTitleId(), "5501");
    G(GetFriendlyName(), "Test Title");
    G(GetAltFriendlyName(), "Alt");
    G(GetParentApp(), "Parent");
    G(GetPrincipalFileName(), "Test.exe");
    G(GetAppdataFolderName(), "TestData");
    G(GetNeverInstallable(), "1");
    G(GetInvisibleUntilRelease(), "1");
    G(GetInstallFolderRegKey(), "SOFTWARE\\Tavrin\\Test");
    G(GetInstallFolderRegValueName(), "InstallFolder");
    G(GetPreqs(), "[p1]");
    G(GetInstallshieldGuidList(), "[]");
    G(GetInstallshieldGuid(), "{G}");
    G(GetModScan(), "1");
    G(GetModAllowList(), "[m1,m2]");
    G(GetSettingsRegistry(), "[HKCU\\A]");
    G(GetSettingsRegistryLanguage(), "0");
    G(GetCloudSaveRoot(), "4");
    G(GetCloudSaveRootName(), "app_qn");
    G(GetCloudSaveFolder(), "Saves");
    G(GetCloudSaveFiles(), "[*.sav]");
    G(GetCloudSaveLocalMods(), "1");
    G(GetCloudSaveCompression(), "1");
    G(GetPlatformFeatures(GamePlatform::Epic), "8");
    G(GetCheckExitCodes(), "0");
    G(GetAppCompatFlags(), "HIGHDPIAWARE");
    G(GetMinKvoVersion(), "2.1");
    G(GetMinGameVersion(), "1.0.3");
    G(GetSafeMode(), "1");
    G(GetLanguages(), "[en]");
    G(GetCrashpadSamplingPercent(), "25");
    G(GetWmpCheck(), "1");
    G(GetGamePlatform(), "3");
    G(GetEnvironment(), "2");
    G(GetEnvironmentName(), "cert");
    G(GetShouldLaunchDirectly(), "1");
    G(GetSteamInstallerPath(), "steam\\setup.exe");
    G(GetSteamAppIds(), "[1001]");
    G(GetEpicSdkVersion(), "2");
    G(GetEpicProductName(), "EP");
    G(GetEpicProductVersion(), "EV");
    G(GetEpicProductId(), "EI");
    G(GetEpicSandboxId(), "ES");
    G(GetEpicDeploymentId(), "ED");
    G(GetEpicClientId(), "EC");
    G(GetEpicClientSecret(), "EX");
    G(GetEpicArtifact(), "EA");
    G(GetEpicAudiences(), "[a1,a2]");
    G(GetCustomPrerequisites().At(0).GetExecutableName(), "r.exe");
#undef G
    EXPECT_TRUE(m.HasEpicConfig());
    EXPECT_TRUE(m.HasSteamAppIds());
    EXPECT_EQ(MetadataStatus::Ok, m.GetLastStatus());
    EXPECT_EQ(Document(kFullMembers), m.GetDocumentText());
    EXPECT_EQ(0u, m.GetPlatformFeatures(GamePlatform::Count));
    EXPECT_EQ(MetadataStatus::IndexOutOfRange, m.GetLastStatus());
    EXPECT_EQ(8u, m.GetPlatformFeatures(GamePlatform::Default));
    EXPECT_EQ(MetadataStatus::Ok, m.GetLastStatus());
}

// The values a clear leaves are checked field by field in the key table test.
TEST(MetadataObjectTest, NothingLoadedOrCleared)
{
    MetadataLogCapture log;
    auto metadata = NewMetadata();
    EXPECT_EQ(std::vector<std::string>{"V Creating Metadata Object"}, MetadataLogCapture::lines);
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::NoMetadata, metadata->GetLastStatus());
    EXPECT_EQ(std::vector<std::string>{"Could not read field 'titleId', no metadata available."},
              MetadataLogCapture::ErrorsOnly());
    EXPECT_STREQ("", metadata->GetDocumentText());

    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(kFullMembers)));
    metadata->GetPlatformFeatures(GamePlatform::Count);
    metadata->Clear();
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
    EXPECT_STREQ("", metadata->GetDocumentText());
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::RequiredFieldMissing, metadata->GetLastStatus());
}

TEST(MetadataObjectTest, MissingAndInvalidFields)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok,
              Load(*metadata,
                   Document("\"modWhitelist\": [\"old\"], \"parentApp\": \"one\", \"parentApp\": \"two\", "
                            "\"environment\": \"staging\", \"epicSdkVersion\": 1")));
    // The SDK version alone makes an Epic configuration.
    EXPECT_TRUE(metadata->HasEpicConfig());
    // The text form of a key reads although its enumeration failed.
    EXPECT_EQ(kMetadataUnset, metadata->GetEnvironment());
    EXPECT_EQ(MetadataStatus::FieldInvalid, metadata->GetLastStatus());
    EXPECT_STREQ("staging", metadata->GetEnvironmentName());
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
    // modAllowList falls back to the older key; a key given twice reads its first value.
    EXPECT_EQ("[old]", Str(metadata->GetModAllowList()));
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
    EXPECT_STREQ("one", metadata->GetParentApp());

    // A required member present but invalid fails the load and clears the object.
    std::string text = Document();
    ASSERT_EQ(MetadataStatus::FieldInvalid,
              Load(*metadata, text.replace(text.find("\"en\""), 4, "\"" + std::string(300, 'l') + "\"")));
    EXPECT_STREQ("", metadata->GetDocumentText());
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::RequiredFieldMissing, metadata->GetLastStatus());
    EXPECT_EQ(0, metadata->GetNoxTitleId()); // reset value, not the start value

    // A negative version defers the walk: nothing is required.
    ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, "{\"metadataVersion\": -1, \"friendlyName\": \"F\"}"));
    EXPECT_EQ(-1, metadata->GetMetadataVersion());
    EXPECT_STREQ("", metadata->GetTitleId());
    EXPECT_EQ(MetadataStatus::RequiredFieldMissing, metadata->GetLastStatus());
    EXPECT_STREQ("F", metadata->GetFriendlyName());
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
}

TEST(MetadataObjectTest, LoadFromMemoryRecognitionAndLimits)
{
    // Product texts without an SDK version make no Epic configuration.
    const std::string document =
        Document("\"gamePlatform\": \"epic\", \"epicProductId\": \"P\", \"epicSdkVersion\": 0");
    auto Bytes = [](const std::vector<uint8_t>& bytes) { return std::string(bytes.begin(), bytes.end()); };
    std::string padded = document;
    padded.resize(kMaxMetadataSize, ' ');
    const std::string container = Bytes(Sealed(document));
    std::string damaged = container;
    damaged[damaged.size() - 17] ^= static_cast<char>(0x80);
    std::string lastBlockFlipped = container;
    lastBlockFlipped.back() ^= 0x01;
    // The container cut short, with its length field telling the new size.
    auto cut = [&](size_t bytes)
    {
        std::string shorter = container.substr(0, container.size() - bytes);
        const uint32_t length = static_cast<uint32_t>(shorter.size() - kContainerHeaderSize);
        std::memcpy(&shorter[8], &length, 4);
        return shorter;
    };
    const uint8_t otherKey[32] = {0x5a};
    const std::tuple<const char*, std::string, uint32_t> cases[] = {
        {"container", container, MetadataStatus::Ok},
        {"exactly 8 MiB", padded, MetadataStatus::Ok},
        {"one byte over 8 MiB", padded + " ", MetadataStatus::TooLarge},
        {"empty", "", MetadataStatus::BadFormat},
        {"container of text that does not parse", Bytes(Sealed("{\"titleId\": \"never closed\"")),
         MetadataStatus::BadFormat},
        // Decryption that fails on the last block leaves text that does not parse; one that cannot size its
        // output leaves none.
        {"container with damaged padding", damaged, MetadataStatus::BadFormat},
        {"container with a flipped byte in the last block", lastBlockFlipped, MetadataStatus::BadFormat},
        {"container under another key", Bytes(Sealed(document, otherKey)), MetadataStatus::BadFormat},
        {"container cut by one block", cut(16), MetadataStatus::BadFormat},
        {"container cut by five bytes", cut(5), MetadataStatus::NoMetadata},
    };
    for (const auto& [what, bytes, status] : cases)
    {
        auto metadata = NewMetadata();
        EXPECT_EQ(status, Load(*metadata, bytes)) << what;
        EXPECT_EQ(status == MetadataStatus::Ok ? GamePlatform::Epic : 0u, metadata->GetGamePlatform())
            << what;
        EXPECT_FALSE(metadata->HasEpicConfig()) << what;
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
                  MetadataLogCapture::lines);
    }
    SetMetadataLogCallback([](MetadataLogMessage&) { return 1; });
    EXPECT_FALSE(MetadataLog(Error, "refused"));
    SetMetadataLogCallback(nullptr);
}
