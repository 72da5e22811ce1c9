#include "util/files.h"
#include "util/path_check.h"
#include "util/test_folder_win.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

namespace
{
long LinesStartingWith(const std::vector<std::string>& lines, const std::string& prefix)
{
    return std::count_if(lines.begin(), lines.end(),
                         [&](const std::string& l) { return l.rfind(prefix, 0) == 0; });
}

class FilesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(WriteFileBytes(m_Dir / L"five.txt", "12345"));
        ASSERT_TRUE(WriteFileBytes(m_Dir / L"empty.txt", ""));
        ASSERT_TRUE(CreateDirectoryW((m_Dir / L"sub").c_str(), nullptr));
    }
    TestFolder m_Dir{L"files"};
};

TEST_F(FilesTest, ExistenceAndSize)
{
    ASSERT_TRUE(MakeFileOfSize(m_Dir / L"big.bin", 0x100000005LL));
    ScopedLogCapture log;
    const struct
    {
        const wchar_t* name;
        bool exists;
        uint64_t size;
    } cases[] = {{L"five.txt", true, 5},
                 {L"empty.txt", true, 0},
                 {L"big.bin", true, 0x100000005ull},
                 {L"sub", false, 0},
                 {L"missing.txt", false, 0}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(ToUtf8(c.name));
        SetLastError(0);
        EXPECT_EQ(FileExists(m_Dir / c.name), c.exists) << "a folder is no file";
        EXPECT_EQ(GetLastError(), 0u) << "nothing left pending";
        uint32_t attributes = 0;
        EXPECT_FALSE(IsReparsePoint(m_Dir / c.name, &attributes));
        EXPECT_EQ(attributes, GetFileAttributesQuiet(m_Dir / c.name));
        uint64_t size = 99;
        if (c.name[0] != L's') // what a folder's size is stays open
        {
            EXPECT_EQ(QueryFileSize(m_Dir / c.name, size), c.exists);
            EXPECT_EQ(size, c.size);
        }
    }
    EXPECT_TRUE(GetFileAttributesQuiet(m_Dir / L"sub") & FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(GetFileAttributesQuiet(m_Dir / L"missing.txt"), kInvalidFileAttributes);
    EXPECT_FALSE(IsUnsafePath(m_Dir / L"x\\y\\z.log")) << "every path is accepted";
    // Missing files are no error worth a log line.
    EXPECT_TRUE(log.lines.empty()) << log.lines.front();

    // A pending error is reported and cleared first.
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_TRUE(FileExists(m_Dir / L"five.txt"));
    EXPECT_EQ(GetLastError(), 0u);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].rfind("Last error: 5 (0x5): ", 0), 0u) << log.lines[0];
}

TEST_F(FilesTest, ReadWholeFile)
{
    ScopedLogCapture log;
    std::vector<uint8_t> buffer{9, 9};
    EXPECT_TRUE(ReadWholeFile(m_Dir / L"five.txt", buffer));
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "12345");
    EXPECT_TRUE(ReadWholeFile(m_Dir / L"empty.txt", buffer));
    EXPECT_TRUE(buffer.empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(FilesTest, ReadWholeFileFailuresAreLogged)
{
    ScopedLogCapture log;
    std::vector<uint8_t> buffer;
    std::wstring missing = m_Dir / L"missing.txt";
    EXPECT_FALSE(ReadWholeFile(missing, buffer));
    EXPECT_TRUE(log.Contains("Couldn't open " + ToUtf8(missing)));
    EXPECT_EQ(LinesStartingWith(log.lines, "Last error: 2 (0x2): "), 1);
    EXPECT_EQ(GetLastError(), 0u);

    // Another handle holds the file: the exclusive open fails.
    log.lines.clear();
    std::wstring held = m_Dir / L"five.txt";
    {
        FileHandle holder(CreateFileW(held.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(holder);
        EXPECT_FALSE(ReadWholeFile(held, buffer));
    }
    EXPECT_TRUE(log.Contains("Couldn't open " + ToUtf8(held)));
    EXPECT_EQ(LinesStartingWith(log.lines, "Last error: 32 (0x20): "), 1);
    EXPECT_TRUE(ReadWholeFile(held, buffer)) << "once released it reads again";

    log.lines.clear();
    EXPECT_FALSE(ReadWholeFile(m_Dir / L"sub", buffer)) << "a folder is not read";
    EXPECT_FALSE(log.lines.empty());
}

TEST_F(FilesTest, FileVersion)
{
    FileVersion version;
    EXPECT_TRUE(GetFileVersion(ExeFolder() + L"\\kvo_version_helper.exe", version));
    EXPECT_EQ(std::tie(version.Major, version.Minor, version.Build, version.Revision),
              std::make_tuple(1, 2, 3, 4));
    for (const auto& path : {ExeFolder() + L"\\kvo_plain_helper.exe", m_Dir / L"missing.exe"})
    {
        version = FileVersion{7, 7, 7, 7};
        EXPECT_FALSE(GetFileVersion(path, version));
        EXPECT_EQ(version.Major + version.Minor + version.Build + version.Revision, 0);
    }
}

// The system conversion never refuses malformed input, nor turns it into something that looks valid.
TEST(TextConvertWin, MalformedSequencesGiveReplacements)
{
    EXPECT_EQ(ToWide("\xC0\xAF"), L"\uFFFD\uFFFD"); // overlong "/"
    EXPECT_EQ(ToWide("\x80z"), L"\uFFFDz");         // stray continuation byte
    // An encoded surrogate: Windows and Wine differ in the count of replacements.
    std::wstring wide = ToWide("\xED\xA0\x80");
    EXPECT_FALSE(wide.empty());
    EXPECT_EQ(wide.find_first_not_of(L"\uFFFD"), std::wstring::npos);
}
} // namespace
