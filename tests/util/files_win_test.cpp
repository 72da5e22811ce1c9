#include "util/files.h"
#include "util/path_check.h"
#include "util/text_convert.h"
#include "util/handle_count_win.h"
#include "util/test_folder_win.h"
#include "util/win_handle.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{
bool AnyLineStartsWith(const std::vector<std::string>& lines, const std::string& prefix)
{
    for (const auto& l : lines)
        if (l.compare(0, prefix.size(), prefix) == 0)
            return true;
    return false;
}

class FilesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(WriteFileBytes(m_Dir / L"five.txt", "12345"));
        ASSERT_TRUE(WriteFileBytes(m_Dir / L"empty.txt", ""));
        ASSERT_TRUE(CreateDirectoryW((m_Dir / L"sub").c_str(), nullptr));
        m_Handles = OpenHandleCount();
        ASSERT_GT(m_Handles, 0u) << "handles cannot be counted";
    }
    void TearDown() override { EXPECT_EQ(OpenHandleCount(), m_Handles) << "a handle leaked"; }

    TestFolder m_Dir{L"files"};
    DWORD m_Handles = 0;
};

TEST_F(FilesTest, ExistenceAndAttributes)
{
    ScopedLogCapture log;
    struct Case
    {
        std::wstring path;
        bool exists;
    };
    const Case cases[] = {
        {m_Dir / L"five.txt", true},
        {m_Dir / L"empty.txt", true},
        {m_Dir / L"sub", false}, // a folder is no file
        {m_Dir / L"missing.txt", false},
        {m_Dir / L"nofolder\\missing.txt", false},
    };
    for (const auto& c : cases)
    {
        SetLastError(0);
        EXPECT_EQ(FileExists(c.path), c.exists);
        EXPECT_EQ(GetLastError(), 0u) << "nothing left pending";
        uint32_t attributes = 0;
        EXPECT_FALSE(IsReparsePoint(c.path, &attributes));
        EXPECT_EQ(attributes == kInvalidFileAttributes, GetFileAttributesQuiet(c.path) == kInvalidFileAttributes);
    }
    EXPECT_TRUE(GetFileAttributesQuiet(m_Dir / L"sub") & FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(GetFileAttributesQuiet(m_Dir / L"missing.txt"), kInvalidFileAttributes);
    // Missing files are no error worth a log line.
    EXPECT_TRUE(log.lines.empty()) << log.lines.front();
}

TEST_F(FilesTest, PendingErrorIsReportedAndClearedFirst)
{
    ScopedLogCapture log;
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_TRUE(FileExists(m_Dir / L"five.txt"));
    EXPECT_EQ(GetLastError(), 0u);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_TRUE(AnyLineStartsWith(log.lines, "Last error: 5 (0x5): ")) << log.lines[0];
}

TEST_F(FilesTest, QueryFileSize)
{
    ASSERT_TRUE(MakeFileOfSize(m_Dir / L"big.bin", 0x100000005LL));
    const struct
    {
        const wchar_t* name;
        bool ok;
        uint64_t size;
    } cases[] = {{L"five.txt", true, 5}, {L"empty.txt", true, 0}, {L"missing.txt", false, 0},
                 {L"big.bin", true, 0x100000005ull}};
    for (const auto& c : cases)
    {
        uint64_t size = 99;
        EXPECT_EQ(QueryFileSize(m_Dir / c.name, size), c.ok) << ToUtf8(c.name);
        EXPECT_EQ(size, c.size) << ToUtf8(c.name);
    }
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
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(FilesTest, ReadWholeFileFailuresAreLogged)
{
    ScopedLogCapture log;
    std::vector<uint8_t> buffer;
    std::wstring missing = m_Dir / L"missing.txt";
    EXPECT_FALSE(ReadWholeFile(missing, buffer));
    EXPECT_TRUE(log.Contains("Couldn't open " + ToUtf8(missing)));
    EXPECT_TRUE(AnyLineStartsWith(log.lines, "Last error: 2 (0x2): "));
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
    EXPECT_TRUE(AnyLineStartsWith(log.lines, "Last error: 32 (0x20): "));
    // Once released it reads again.
    EXPECT_TRUE(ReadWholeFile(held, buffer));

    log.lines.clear();
    EXPECT_FALSE(ReadWholeFile(m_Dir / L"sub", buffer)) << "a folder is not read";
    EXPECT_FALSE(log.lines.empty());
}

TEST_F(FilesTest, FileVersion)
{
    FileVersion version;
    EXPECT_TRUE(GetFileVersion(ExeFolder() + L"\\kvo_version_helper.exe", version));
    EXPECT_EQ(std::tie(version.Major, version.Minor, version.Build, version.Revision), std::make_tuple(1, 2, 3, 4));

    const std::wstring without[] = {ExeFolder() + L"\\kvo_plain_helper.exe", m_Dir / L"five.txt",
                                    m_Dir / L"missing.exe"};
    for (const auto& path : without)
    {
        version = FileVersion{7, 7, 7, 7};
        EXPECT_FALSE(GetFileVersion(path, version));
        EXPECT_EQ(version.Major + version.Minor + version.Build + version.Revision, 0);
    }
}

TEST_F(FilesTest, PathCheckAcceptsEverything)
{
    ScopedLogCapture log;
    for (const std::wstring& path : {std::wstring(), m_Dir / L"five.txt", m_Dir / L"x\\y\\z.log",
                                     std::wstring(L"\\\\?\\bogus\\\\path")})
    {
        SetLastError(0);
        EXPECT_FALSE(IsUnsafePath(path));
        EXPECT_EQ(GetLastError(), 0u);
    }
    EXPECT_TRUE(log.lines.empty());
}
} // namespace
