// Finding and reading title.kvo on Windows paths (run under Wine).
#include "metadata/metadata_container.h"
#include "metadata/title_metadata.h"
#include "metadata_test_support.h"
#include "util/text_convert.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace fs = std::filesystem;

namespace
{
class MetadataFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        static int counter = 0;
        m_Root = fs::temp_directory_path() /
                 (L"kvo-md-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++counter));
        // A non-ASCII folder name checks the UTF-8 to UTF-16 step.
        m_Deep = m_Root / L"a" / L"b \u00e9" / L"c" / L"d";
        fs::create_directories(m_Deep);
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(m_Root, ignored);
    }

    static void Write(const fs::path& path, const std::string& bytes)
    {
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    // The narrow (UTF-8) name as the stub passes it.
    static std::string Narrow(const fs::path& path) { return ToUtf8(path.wstring()); }
    static std::string Missing(const fs::path& path) { return "Metadata file does not exist: " + Narrow(path); }

    fs::path m_Root;
    fs::path m_Deep;
};
} // namespace

// The file is looked for in the given folder and up to three above it.
TEST_F(MetadataFileTest, SearchGoesUpToThreeFoldersAbove)
{
    for (int above : {2, 4})
    {
        SCOPED_TRACE(above);
        fs::path folder = m_Deep;
        std::vector<std::string> expected;
        for (int i = 0; i < above; ++i, folder = folder.parent_path())
            expected.push_back(Missing(folder / L"title.kvo"));
        Write(folder / L"title.kvo", Document("\"gamePlatform\": \"disk\""));
        MetadataLogCapture log;
        auto metadata = NewMetadata();
        const std::string name = Narrow(m_Deep / L"title.kvo");
        EXPECT_EQ(above < 4 ? MetadataStatus::Ok : MetadataStatus::NoMetadata, metadata->LoadFromFile(name.c_str()));
        EXPECT_EQ(expected, MetadataLogCapture::ErrorsOnly());
        EXPECT_EQ(1u, MetadataLogCapture::CountOf("V Loading file from disk: " + name));
        EXPECT_EQ(above < 4 ? GamePlatform::Disk : 0u, metadata->GetGamePlatform());
        fs::remove(folder / L"title.kvo");
    }
}

TEST_F(MetadataFileTest, NamesWithoutABackslashOrNearTheRoot)
{
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"title.kvo", {"No filename passed in: title.kvo"}},
        {"C:/Games/title.kvo", {"No filename passed in: C:/Games/title.kvo"}},
        {"Q:\\Title\\title.kvo",
         {"Metadata file does not exist: Q:\\Title\\title.kvo", "Metadata file does not exist: Q:\\title.kvo"}},
    };
    for (const auto& [name, errors] : cases)
    {
        SCOPED_TRACE(name);
        MetadataLogCapture log;
        EXPECT_EQ(MetadataStatus::NoMetadata, NewMetadata()->LoadFromFile(name));
        EXPECT_EQ(errors, MetadataLogCapture::ErrorsOnly());
    }
}

TEST_F(MetadataFileTest, ContentAndSizeOutcomes)
{
    std::string exact = Document();
    exact.resize(kMaxMetadataSize, '\n');
    const std::vector<uint8_t> container = Sealed(Document("\"environment\": \"dev\""));
    const std::tuple<const char*, std::string, uint32_t> cases[] = {
        {"exactly 8 MiB", exact, MetadataStatus::Ok},
        {"one byte more", exact + "\n", MetadataStatus::TooLarge},
        {"container", std::string(container.begin(), container.end()), MetadataStatus::Ok},
        {"empty", "", MetadataStatus::BadFormat},
        {"no titleId", "{\"friendlyName\": \"F\"}", MetadataStatus::RequiredFieldMissing},
    };
    const fs::path file = m_Deep / L"title.kvo";
    for (const auto& [what, bytes, status] : cases)
    {
        SCOPED_TRACE(what);
        Write(file, bytes);
        MetadataLogCapture log;
        auto metadata = NewMetadata();
        EXPECT_EQ(status, metadata->LoadFromFile(Narrow(file).c_str()));
        // A file read but not loaded says so; a loaded or too large one logs no error.
        const bool parseFailed = status != MetadataStatus::Ok && status != MetadataStatus::TooLarge;
        EXPECT_EQ(parseFailed ? std::vector<std::string>{"Failed to parse metadata from file: " + Narrow(file)}
                              : std::vector<std::string>{},
                  MetadataLogCapture::ErrorsOnly());
        if (status == MetadataStatus::Ok)
        {
            EXPECT_STREQ("tavrin.test", metadata->GetTitleId());
        }
    }
}

TEST_F(MetadataFileTest, UnreadableFileLeavesTheObjectAsItWas)
{
    const fs::path file = m_Deep / L"title.kvo";
    Write(file, Document("\"wmpCheck\": true"));
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, metadata->LoadFromFile(Narrow(file).c_str()));

    {
        // The reader asks for exclusive access, so another open handle makes it fail.
        std::unique_ptr<void, decltype(&CloseHandle)> holder(
            CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                        nullptr),
            &CloseHandle);
        ASSERT_NE(INVALID_HANDLE_VALUE, holder.get());
        MetadataLogCapture log;
        EXPECT_EQ(MetadataStatus::ReadFailed, metadata->LoadFromFile(Narrow(file).c_str()));
        EXPECT_EQ(std::vector<std::string>{"Failed to read file: " + Narrow(file)}, MetadataLogCapture::ErrorsOnly());
        EXPECT_TRUE(metadata->GetWmpCheck());
        EXPECT_STREQ("tavrin.test", metadata->GetTitleId());
    }

    // A folder of that name is no file: the search goes on above it.
    fs::create_directories(m_Deep / L"c2" / L"title.kvo");
    EXPECT_EQ(MetadataStatus::Ok, metadata->LoadFromFile(Narrow(m_Deep / L"c2" / L"title.kvo").c_str()));
}
