#include "log_folder_win.h"

#include "log/stub_log.h"
#include "util/handle_count_win.h"

#include <gtest/gtest.h>

#include <regex>

namespace
{
// The message of a stub.log line, after checking its 26-byte stamp.
std::string Message(const std::string& line)
{
    static const std::regex stamp(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )");
    EXPECT_TRUE(line.size() >= 26 && std::regex_match(line.substr(0, 26), stamp)) << line;
    return line.size() >= 26 ? line.substr(26) : std::string();
}

class DirectFileLogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_Folder.Create());
        m_Handles = OpenHandleCount();
        ASSERT_GT(m_Handles, 0u) << "handles cannot be counted";
    }
    void TearDown() override
    {
        StubLog::Close();
        // A skip prints its reason first, and the first output opens handles of its own.
        if (!IsSkipped())
        {
            EXPECT_EQ(OpenHandleCount(), m_Handles) << "a handle leaked";
        }
    }

    LogFolder m_Folder{FOLDERID_LocalAppData};
    std::wstring m_Path = m_Folder.Use(L"kvo_test_direct.log");
    DWORD m_Handles = 0;
};

TEST_F(DirectFileLogTest, LinesAreStampedCutAndEndWithCrLf)
{
    ASSERT_TRUE(StubLog::Create(DirectFile, L"kvo_test_direct.log"));
    StubLog::Printf("abc");
    // The message's room is 2,046 - 26 bytes, its terminating zero included.
    StubLog::Printf("%s", std::string(2019, 'x').c_str());
    StubLog::Printf("%s", std::string(2020, 'y').c_str());
    StubLog::Close();
    std::string text = ReadFileBytes(m_Path);
    std::vector<std::string> lines = SplitLines(text);
    ASSERT_EQ(lines.size(), 3u) << text;
    EXPECT_EQ(text.find("\r\n"), 29u);
    EXPECT_EQ(Message(lines[0]), "abc");
    EXPECT_EQ(Message(lines[1]), std::string(2019, 'x'));
    EXPECT_EQ(Message(lines[2]), std::string(2019, 'y'));
    EXPECT_EQ(text.size(), 31u + 2 * 2047u);
    SYSTEMTIME now;
    GetLocalTime(&now);
    EXPECT_EQ(std::stoi(lines[0].substr(1, 4)), now.wYear) << "local time, not another clock";
}

TEST_F(DirectFileLogTest, EachOpenReplacesTheFileAndHoldsItExclusively)
{
    ASSERT_TRUE(WriteFileBytes(m_Path, "previous run\r\n"));
    SetLastError(0);
    ASSERT_TRUE(StubLog::Create(DirectFile, L"kvo_test_direct.log"));
    EXPECT_EQ(GetLastError(), 0u) << "ERROR_ALREADY_EXISTS is not left behind";
    EXPECT_EQ(ReadFileBytes(m_Path), "<missing>") << "nobody else may open the log while it is written";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    StubLog::Printf("Launching...");
    StubLog::Close();
    StubLog::Printf("after close");
    std::vector<std::string> lines = SplitLines(ReadFileBytes(m_Path));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(Message(lines[0]), "Launching...");
}

TEST_F(DirectFileLogTest, SinkWithoutItsFolderDropsEverything)
{
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(StubLog::LastError("no sink", false), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED))
        << "without a sink it is left as it was";
    if (!m_Folder.Remove())
        GTEST_SKIP() << "the log folder existed before the test";
    ASSERT_TRUE(StubLog::Create(DirectFile, L"kvo_test_direct.log"));
    SetLastError(ERROR_ACCESS_DENIED);
    StubLog::Printf("dropped %d", 1);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED))
        << "logging does not touch the caller's code";
    StubLog::LastError("ctx", true);
    EXPECT_EQ(GetLastError(), 0u);
    StubLog::Close();
    EXPECT_EQ(FileSize(m_Folder.Folder()), -1);
}

// The system's text of a last error brings its own line break: an empty line follows.
TEST_F(DirectFileLogTest, LastErrorInTheFileIsFollowedByAnEmptyLine)
{
    ASSERT_TRUE(StubLog::Create(DirectFile, L"kvo_test_direct.log"));
    SetLastError(ERROR_ACCESS_DENIED);
    StubLog::LastError("context line", true);
    StubLog::Close();
    std::vector<std::string> lines = SplitLines(ReadFileBytes(m_Path));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(Message(lines[0]), "context line");
    EXPECT_EQ(Message(lines[1]).compare(0, 21, "Last error: 5 (0x5): "), 0) << lines[1];
    EXPECT_EQ(lines[2], "");
}
} // namespace
