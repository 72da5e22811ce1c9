// Finding and reading title.kvo on Windows paths (run under Wine).
#include "metadata_test_support.h"
#include "util/text_convert.h"

#include <windows.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace
{
// The narrow (UTF-8) name as the stub passes it.
std::string Narrow(const fs::path& path)
{
    return ToUtf8(path.wstring());
}

class MetadataFileTest : public ::testing::Test
{
protected:
    void SetUp() override { fs::create_directories(m_Deep); }
    void TearDown() override { fs::remove_all(m_Root); }
    const fs::path m_Root = fs::temp_directory_path() / (L"kvo-md-" + std::to_wstring(GetCurrentProcessId()));
    // A non-ASCII folder name checks the UTF-8 to UTF-16 step.
    const fs::path m_Deep = m_Root / L"a" / L"b \u00e9" / L"c" / L"d";
};
} // namespace

// The file is looked for in the given folder and up to three above it.
TEST_F(MetadataFileTest, SearchGoesUpToThreeFoldersAboveAndNotPastTheRoot)
{
    for (int above : {2, 4})
    {
        SCOPED_TRACE(above);
        fs::path folder = m_Deep;
        std::vector<std::string> expected;
        for (int i = 0; i < above; ++i, folder = folder.parent_path())
            expected.push_back("Metadata file does not exist: " + Narrow(folder / L"title.kvo"));
        WriteFile(folder / L"title.kvo", Document("\"gamePlatform\": \"disk\""));
        MetadataLogCapture log;
        auto metadata = NewMetadata();
        const std::string name = Narrow(m_Deep / L"title.kvo");
        EXPECT_EQ(above < 4 ? MetadataStatus::Ok : MetadataStatus::NoMetadata,
                  metadata->LoadFromFile(name.c_str()));
        EXPECT_EQ(expected, MetadataLogCapture::ErrorsOnly());
        EXPECT_EQ(1u, MetadataLogCapture::CountOf("V Loading file from disk: " + name));
        EXPECT_EQ(above < 4 ? GamePlatform::Disk : 0u, metadata->GetGamePlatform());
        fs::remove(folder / L"title.kvo");
    }
    // A name without a backslash is refused; the search stops at the drive's root.
    MetadataLogCapture log;
    EXPECT_EQ(MetadataStatus::NoMetadata, NewMetadata()->LoadFromFile("title.kvo"));
    EXPECT_EQ(MetadataStatus::NoMetadata, NewMetadata()->LoadFromFile("Q:\\Title\\title.kvo"));
    EXPECT_EQ((std::vector<std::string>{"No filename passed in: title.kvo",
                                        "Metadata file does not exist: Q:\\Title\\title.kvo",
                                        "Metadata file does not exist: Q:\\title.kvo"}),
              MetadataLogCapture::ErrorsOnly());
}

TEST_F(MetadataFileTest, SizeLimitAndParseFailure)
{
    const fs::path file = m_Deep / L"title.kvo";
    const std::string name = Narrow(file);
    std::string exact = Document();
    exact.resize(kMaxMetadataSize, '\n');
    MetadataLogCapture log;
    auto metadata = NewMetadata();
    WriteFile(file, exact);
    EXPECT_EQ(MetadataStatus::Ok, metadata->LoadFromFile(name.c_str()));
    EXPECT_STREQ("tavrin.test", metadata->GetTitleId());
    WriteFile(file, exact + "\n");
    EXPECT_EQ(MetadataStatus::TooLarge, NewMetadata()->LoadFromFile(name.c_str()));
    // A too large file logs no error; one read but not loaded says so.
    EXPECT_TRUE(MetadataLogCapture::ErrorsOnly().empty());
    WriteFile(file, "");
    EXPECT_EQ(MetadataStatus::BadFormat, NewMetadata()->LoadFromFile(name.c_str()));
    EXPECT_EQ(std::vector<std::string>{"Failed to parse metadata from file: " + name},
              MetadataLogCapture::ErrorsOnly());
}

TEST_F(MetadataFileTest, UnreadableFileLeavesTheObjectAsItWas)
{
    const fs::path file = m_Deep / L"title.kvo";
    WriteFile(file, Document("\"wmpCheck\": true"));
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, metadata->LoadFromFile(Narrow(file).c_str()));

    {
        // The reader asks for exclusive access, so another open handle makes it fail.
        std::ifstream holder(file);
        ASSERT_TRUE(holder.is_open());
        MetadataLogCapture log;
        EXPECT_EQ(MetadataStatus::ReadFailed, metadata->LoadFromFile(Narrow(file).c_str()));
        EXPECT_EQ(std::vector<std::string>{"Failed to read file: " + Narrow(file)},
                  MetadataLogCapture::ErrorsOnly());
        EXPECT_TRUE(metadata->GetWmpCheck());
        EXPECT_STREQ("tavrin.test", metadata->GetTitleId());
    }

    // A folder of that name is no file: the search goes on above it.
    fs::create_directories(m_Deep / L"c2" / L"title.kvo");
    EXPECT_EQ(MetadataStatus::Ok, metadata->LoadFromFile(Narrow(m_Deep / L"c2" / L"title.kvo").c_str()));
}
