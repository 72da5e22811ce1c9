// Finding and reading title.kvo on Windows paths (run under Wine).
#include "metadata/metadata_container.h"
#include "metadata/title_metadata.h"
#include "metadata_test_support.h"
#include "util/text_convert.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace
{
class FileHandle
{
public:
    explicit FileHandle(HANDLE handle) : m_Handle(handle) {}
    ~FileHandle()
    {
        if (m_Handle != INVALID_HANDLE_VALUE)
            CloseHandle(m_Handle);
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    bool IsOpen() const { return m_Handle != INVALID_HANDLE_VALUE; }

private:
    HANDLE m_Handle;
};

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
        std::ofstream out(path, std::ios::binary);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    // The narrow (UTF-8) name as the stub passes it.
    static std::string Narrow(const fs::path& path) { return ToUtf8(path.wstring()); }
    static std::string Missing(const fs::path& path) { return "Metadata file does not exist: " + Narrow(path); }

    fs::path m_Root;
    fs::path m_Deep;
};
} // namespace

TEST_F(MetadataFileTest, FindsTheFileTwoFoldersAbove)
{
    Write(m_Root / L"a" / L"b \u00e9" / L"title.kvo", Document("\"gamePlatform\": \"disk\""));
    MetadataLogCapture log;
    auto metadata = NewMetadata();
    std::string name = Narrow(m_Deep / L"title.kvo");
    EXPECT_EQ(MetadataStatus::Ok, metadata->LoadFromFile(name.c_str()));
    EXPECT_EQ(GamePlatform::Disk, metadata->GetGamePlatform());
    EXPECT_EQ((std::vector<std::string>{Missing(m_Deep / L"title.kvo"), Missing(m_Deep.parent_path() / L"title.kvo")}),
              MetadataLogCapture::ErrorsOnly());
    EXPECT_EQ(1u, MetadataLogCapture::CountOf("V Loading file from disk: " + name));
}

TEST_F(MetadataFileTest, SearchStopsAfterThreeFoldersAbove)
{
    // Present four folders above: out of reach.
    Write(m_Root / L"title.kvo", Document());
    MetadataLogCapture log;
    auto metadata = NewMetadata();
    EXPECT_EQ(MetadataStatus::NoMetadata, metadata->LoadFromFile(Narrow(m_Deep / L"title.kvo").c_str()));
    fs::path folder = m_Deep;
    std::vector<std::string> expected;
    for (int i = 0; i < 4; ++i, folder = folder.parent_path())
        expected.push_back(Missing(folder / L"title.kvo"));
    EXPECT_EQ(expected, MetadataLogCapture::ErrorsOnly());
}

TEST_F(MetadataFileTest, NamesWithoutABackslashOrNearTheRoot)
{
    struct Case
    {
        const char* name;
        std::vector<std::string> errors;
    } cases[] = {
        {"title.kvo", {"No filename passed in: title.kvo"}},
        {"C:/Games/title.kvo", {"No filename passed in: C:/Games/title.kvo"}},
        {"Q:\\Title\\title.kvo",
         {"Metadata file does not exist: Q:\\Title\\title.kvo", "Metadata file does not exist: Q:\\title.kvo"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        MetadataLogCapture log;
        auto metadata = NewMetadata();
        EXPECT_EQ(MetadataStatus::NoMetadata, metadata->LoadFromFile(c.name));
        EXPECT_EQ(c.errors, MetadataLogCapture::ErrorsOnly());
    }
}

TEST_F(MetadataFileTest, ContentAndSizeOutcomes)
{
    std::string exact = Document();
    exact.resize(kMaxMetadataSize, '\n');
    std::vector<uint8_t> container;
    std::string plain = Document("\"environment\": \"dev\"");
    ASSERT_EQ(0u, EncodeContainer(reinterpret_cast<const uint8_t*>(plain.data()), static_cast<uint32_t>(plain.size()),
                                  container));
    struct Case
    {
        const char* what;
        std::string bytes;
        uint32_t status;
        bool parseLine;
    } cases[] = {
        {"exactly 8 MiB", exact, MetadataStatus::Ok, false},
        {"one byte more", exact + "\n", MetadataStatus::TooLarge, false},
        {"container", std::string(container.begin(), container.end()), MetadataStatus::Ok, false},
        {"empty", "", MetadataStatus::BadFormat, true},
        {"byte-order mark", "\xEF\xBB\xBF" + Document(), MetadataStatus::BadFormat, true},
        {"brace then blank lines", "{\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\"titleId\": \"x\"}", MetadataStatus::BadFormat, true},
        {"no titleId", "{\"friendlyName\": \"F\"}", MetadataStatus::RequiredFieldMissing, true},
    };
    fs::path file = m_Deep / L"title.kvo";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        Write(file, c.bytes);
        MetadataLogCapture log;
        auto metadata = NewMetadata();
        EXPECT_EQ(c.status, metadata->LoadFromFile(Narrow(file).c_str()));
        std::vector<std::string> errors = MetadataLogCapture::ErrorsOnly();
        std::string parseLine = "Failed to parse metadata from file: " + Narrow(file);
        EXPECT_EQ(c.parseLine, !errors.empty() && errors.back() == parseLine);
        if (c.status == MetadataStatus::Ok)
        {
            EXPECT_STREQ("tavrin.test", metadata->GetTitleId());
            EXPECT_TRUE(errors.empty());
        }
        if (c.status == MetadataStatus::TooLarge)
        {
            EXPECT_TRUE(errors.empty());
        }
    }
}

TEST_F(MetadataFileTest, UnreadableFileLeavesTheObjectAsItWas)
{
    fs::path file = m_Deep / L"title.kvo";
    Write(file, Document("\"wmpCheck\": true"));
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok, metadata->LoadFromFile(Narrow(file).c_str()));

    {
        // The reader asks for exclusive access, so another open handle makes it fail.
        FileHandle holder(CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(holder.IsOpen());
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
