#include "log_folder_win.h"

#include "log/direct_file_log.h"
#include "log/stub_log.h"
#include "util/handle_count_win.h"
#include "util/test_folder_win.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>

namespace
{
const std::regex kStamp(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )");

// The message of a stub.log line, after checking its 26-byte stamp.
std::string Message(const std::string& line)
{
    EXPECT_GE(line.size(), 26u);
    EXPECT_TRUE(std::regex_match(line.substr(0, 26), kStamp)) << line;
    return line.size() >= 26 ? line.substr(26) : std::string();
}

class DirectFileLogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(StubLog::IsOn());
        ASSERT_TRUE(m_Folder.Create());
        m_Path = m_Folder.Use(L"kvo_test_direct.log");
        m_Handles = OpenHandleCount();
        ASSERT_GT(m_Handles, 0u) << "handles cannot be counted";
    }
    void TearDown() override
    {
        StubLog::Close();
        EXPECT_EQ(OpenHandleCount(), m_Handles) << "a handle leaked";
    }

    LogFolder m_Folder{FOLDERID_LocalAppData};
    std::wstring m_Path;
    DWORD m_Handles = 0;
};

TEST_F(DirectFileLogTest, LinesAreStampedAndEndWithCrLf)
{
    ASSERT_TRUE(StubLog::Create(DirectFile, L"kvo_test_direct.log"));
    StubLog::Printf("abc");
    StubLog::Printf("%s %d %ls %x", "text", -12, L"wide", 255u);
    StubLog::Printf("%s", "");
    StubLog::Close();
    std::string text = ReadFileBytes(m_Path);
    std::vector<std::string> lines = SplitLines(text);
    ASSERT_EQ(lines.size(), 3u) << text;
    // A three-byte message gives a line of 26 + 3 + 2 bytes.
    EXPECT_EQ(text.find("\r\n"), 29u);
    EXPECT_EQ(Message(lines[0]), "abc");
    EXPECT_EQ(Message(lines[1]), "text -12 wide ff");
    EXPECT_EQ(Message(lines[2]), "");
    EXPECT_EQ(text.size(), 31u + 44u + 28u);
    SYSTEMTIME now;
    GetLocalTime(&now);
    EXPECT_EQ(std::stoi(lines[0].substr(1, 4)), now.wYear) << "local time, not another clock";
}

TEST_F(DirectFileLogTest, LongMessagesAreCutToTheirRoom)
{
    ASSERT_TRUE(StubLog::Create(DirectFile, L"kvo_test_direct.log"));
    // The message's room is 2,046 - 26 bytes, its terminating zero included.
    const size_t sizes[] = {2018, 2019, 2020, 5000};
    for (size_t n : sizes)
        StubLog::Printf("%s", std::string(n, 'x').c_str());
    StubLog::Close();
    std::string text = ReadFileBytes(m_Path);
    std::vector<std::string> lines = SplitLines(text);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(Message(lines[0]), std::string(2018, 'x'));
    for (size_t i = 1; i < 4; ++i)
    {
        EXPECT_EQ(Message(lines[i]), std::string(2019, 'x')) << sizes[i];
        // At most 2,047 bytes, line end included.
        EXPECT_EQ(lines[i].size() + 2, 2047u);
    }
    EXPECT_EQ(text.size(), (26u + 2018 + 2) + 3 * 2047u);
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
    // A second channel sink is refused and the first keeps the lines.
    EXPECT_FALSE(StubLog::Create(DirectFile, L"kvo_test_other.log"));
    EXPECT_FALSE(StubLog::Create(Service, L"kvo_test_other.log"));
    StubLog::Printf("still here");
    StubLog::Close();
    std::vector<std::string> lines = SplitLines(ReadFileBytes(m_Path));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(Message(lines[0]), "Launching...");
    EXPECT_EQ(Message(lines[1]), "still here");
    EXPECT_EQ(FileSize(m_Folder.File(L"kvo_test_other.log")), -1);

    // After Close nothing more is written.
    StubLog::Printf("after close");
    EXPECT_EQ(SplitLines(ReadFileBytes(m_Path)).size(), 2u);
}

TEST_F(DirectFileLogTest, NothingIsWrittenWithoutASink)
{
    EXPECT_FALSE(StubLog::Create(static_cast<LogSinkKind>(7), L"kvo_test_direct.log"));
    EXPECT_FALSE(StubLog::IsOn());
    StubLog::Printf("dropped");
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(StubLog::LastError("ctx", false), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED)) << "left as it was";
    EXPECT_EQ(FileSize(m_Path), -1);
}

TEST_F(DirectFileLogTest, SinkWithoutItsFolderDropsEverything)
{
    if (!m_Folder.Remove())
        GTEST_SKIP() << "the log folder existed before the test";
    ASSERT_TRUE(StubLog::Create(DirectFile, L"kvo_test_direct.log"));
    EXPECT_TRUE(StubLog::IsOn());
    SetLastError(ERROR_ACCESS_DENIED);
    StubLog::Printf("dropped %d", 1);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED)) << "logging does not touch the caller's code";
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

TEST_F(DirectFileLogTest, SinkParts)
{
    DirectFileLog sink;
    std::wstring path = L"unchanged";
    EXPECT_FALSE(sink.GetLogPath(path)) << "no file name yet";
    EXPECT_FALSE(sink.Open());
    sink.SetFileName(L"kvo_test_direct.log");
    ASSERT_TRUE(sink.GetLogPath(path));
    EXPECT_EQ(path, m_Path);
    ASSERT_TRUE(sink.Open());
    EXPECT_FALSE(sink.Open()) << "opened once only";
    sink.Close();
    EXPECT_EQ(ReadFileBytes(m_Path), "");
}

// The line also goes to an attached debugger: run a helper that logs one line
// under this test as its debugger and compare its debug output with the file.
// No handle count here: the sink runs in the helper, and handles of the
// debugger itself (its debug object among them) outlive the debuggee.
TEST(DirectFileLogDebugger, LineIsCopiedToAnAttachedDebugger)
{
    LogFolder folder(FOLDERID_LocalAppData);
    ASSERT_TRUE(folder.Create());
    std::wstring path = folder.Use(L"kvo_test_direct.log");
    KernelHandle process(StartProcess(ExeFolder() + L"\\kvo_log_debuggee.exe",
                                      L"kvo_test_direct.log \"seen by the debugger\"", DEBUG_ONLY_THIS_PROCESS));
    ASSERT_TRUE(process);
    std::vector<std::string> strings;
    for (bool running = true; running;)
    {
        DEBUG_EVENT event{};
        ASSERT_TRUE(WaitForDebugEvent(&event, 30000)) << "the debuggee hangs";
        DWORD status = DBG_CONTINUE;
        switch (event.dwDebugEventCode)
        {
        case CREATE_PROCESS_DEBUG_EVENT:
            KernelHandle(event.u.CreateProcessInfo.hFile).Reset();
            break;
        case LOAD_DLL_DEBUG_EVENT:
            KernelHandle(event.u.LoadDll.hFile).Reset();
            break;
        case OUTPUT_DEBUG_STRING_EVENT: {
            const auto& s = event.u.DebugString;
            size_t unit = s.fUnicode ? 2 : 1;
            std::string raw(s.nDebugStringLength * unit, '\0');
            SIZE_T read = 0;
            ReadProcessMemory(process.Get(), s.lpDebugStringData, &raw[0], raw.size(), &read);
            raw.resize(read);
            if (s.fUnicode)
                strings.push_back(ToUtf8(reinterpret_cast<const wchar_t*>(raw.c_str())));
            else
                strings.push_back(raw.c_str());
            break;
        }
        case EXCEPTION_DEBUG_EVENT:
            if (event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT)
                status = DBG_EXCEPTION_NOT_HANDLED;
            break;
        case EXIT_PROCESS_DEBUG_EVENT:
            running = false;
            break;
        default:
            break;
        }
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
    }
    DWORD exitCode = 99;
    GetExitCodeProcess(process.Get(), &exitCode);
    EXPECT_EQ(exitCode, 0u);
    std::string line = ReadFileBytes(path);
    EXPECT_EQ(Message(line), "seen by the debugger\r\n");
    bool copied = false;
    for (const auto& s : strings)
        copied = copied || s == line;
    EXPECT_TRUE(copied) << "debug strings seen: " << strings.size();
}
} // namespace
