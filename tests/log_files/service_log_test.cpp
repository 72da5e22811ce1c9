#include "log_folder_win.h"

#include "log/service_log.h"
#include "log/stub_log.h"
#include "util/handle_count_win.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <regex>
#include <thread>

namespace
{
// Reaches the periods that only tests may shorten.
class TestServiceLog : public ServiceLog
{
public:
    TestServiceLog(uint32_t flushDelayMs, int64_t trimIntervalTicks) : ServiceLog(flushDelayMs, trimIntervalTicks)
    {
        SetFileName(L"kvo_test_service.log");
    }
    using ServiceLog::ResetTrimClock;
};

constexpr int64_t kSecond = 10000000; // system-clock ticks

void InstallServiceLog(uint32_t flushDelayMs, int64_t trimIntervalTicks = 3600 * kSecond)
{
    ASSERT_TRUE(StubLog::Install(std::make_unique<TestServiceLog>(flushDelayMs, trimIntervalTicks), Service));
}

// The messages of the file's lines, after checking each stamp and its process id.
std::vector<std::string> Messages(const std::wstring& path)
{
    static const std::regex stamp(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] \[ *(\d+)\] \[ *([0-9A-F]+)\] )");
    std::vector<std::string> messages;
    for (const auto& line : SplitLines(ReadFileBytes(path)))
    {
        std::smatch m;
        if (!std::regex_search(line, m, stamp) || m.position(0) != 0)
        {
            ADD_FAILURE() << "bad stamp: " << line;
            continue;
        }
        EXPECT_EQ(std::stoul(m[1].str()), GetCurrentProcessId());
        messages.push_back(m.suffix().str());
    }
    return messages;
}

// Waits up to 15 s for the condition to hold.
template <typename Condition>
bool WaitFor(Condition condition)
{
    for (ULONGLONG end = GetTickCount64() + 15000; !condition(); Sleep(20))
        if (GetTickCount64() >= end)
            return false;
    return true;
}

class ServiceLogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(StubLog::IsOn());
        ASSERT_TRUE(m_Folder.Create());
        m_Path = m_Folder.Use(L"kvo_test_service.log");
    }
    void TearDown() override { StubLog::Close(); }

    LogFolder m_Folder{FOLDERID_ProgramData};
    std::wstring m_Path;
};

using V = std::vector<std::string>;

TEST_F(ServiceLogTest, LinesWrittenWithinThePeriodGoOutInOneAppend)
{
    InstallServiceLog(1500);
    StubLog::Printf("one");
    StubLog::Printf("two %d", 2);
    StubLog::Printf("three %ls", L"3");
    EXPECT_EQ(ReadFileBytes(m_Path), "<missing>") << "writers do no file work";
    ASSERT_TRUE(WaitFor([&] { return FileSize(m_Path) > 0; }));
    // The first content seen already holds all three lines: one append.
    EXPECT_EQ(Messages(m_Path), (V{"one", "two 2", "three 3"}));

    StubLog::Printf("four");
    EXPECT_EQ(Messages(m_Path).size(), 3u) << "a new line waits for a new period";
    WaitFor([&] { return Messages(m_Path).size() >= 4; });
    EXPECT_EQ(Messages(m_Path), (V{"one", "two 2", "three 3", "four"}));
    // "[date time] [pid] [tid] ": 26 + 9 + 7 bytes with a short pid and tid.
    EXPECT_EQ(ReadFileBytes(m_Path).substr(42, 5), "one\r\n");
}

TEST_F(ServiceLogTest, CloseAppendsAtOnce)
{
    // A period far longer than the test's time limit.
    InstallServiceLog(3600 * 1000);
    StubLog::Printf("kept");
    StubLog::Printf("also kept");
    StubLog::Close();
    EXPECT_EQ(Messages(m_Path), (V{"kept", "also kept"}));
    // A closed channel writes nothing more.
    StubLog::Printf("dropped");
    EXPECT_EQ(Messages(m_Path).size(), 2u);
}

TEST_F(ServiceLogTest, LinesWaitUntilTheFolderExists)
{
    if (!m_Folder.Remove())
        GTEST_SKIP() << "the log folder existed before the test";
    InstallServiceLog(100);
    for (int i = 1; i <= 3; ++i)
        StubLog::Printf("line %d", i);
    // Several periods pass while the folder is missing.
    Sleep(800);
    EXPECT_EQ(FileSize(m_Folder.Folder()), -1) << "the sink makes no folder";
    StubLog::Printf("line 4");
    ASSERT_TRUE(m_Folder.Create());
    ASSERT_TRUE(WaitFor([&] { return FileSize(m_Path) > 0; }));
    EXPECT_EQ(Messages(m_Path), (V{"line 1", "line 2", "line 3", "line 4"}));
}

TEST_F(ServiceLogTest, LinesFromManyThreadsAllArrive)
{
    InstallServiceLog(5);
    const int threads = 4;
    const int perThread = 200;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([t] {
            for (int i = 0; i < perThread; ++i)
            {
                StubLog::Printf("t%d n%d", t, i);
                if (i % 50 == 0)
                    Sleep(2);
            }
        });
    for (auto& worker : workers)
        worker.join();
    StubLog::Close();
    V messages = Messages(m_Path);
    ASSERT_EQ(messages.size(), static_cast<size_t>(threads * perThread));
    // Each thread's lines keep their order.
    std::vector<int> next(threads, 0);
    for (const auto& m : messages)
    {
        int t = -1;
        int n = -1;
        ASSERT_EQ(std::sscanf(m.c_str(), "t%d n%d", &t, &n), 2) << m;
        ASSERT_TRUE(t >= 0 && t < threads);
        EXPECT_EQ(n, next[t]++);
    }
}

// Closing and destroying sinks while their flush callbacks fire.
TEST_F(ServiceLogTest, CloseWhileFlushesRun)
{
    DWORD handles = OpenHandleCount();
    ASSERT_GT(handles, 0u);
    int written = 0;
    for (int round = 0; round < 40; ++round)
    {
        InstallServiceLog(1);
        for (int i = 0; i < 5 + round % 7; ++i)
        {
            StubLog::Printf("round %d line %d", round, i);
            ++written;
            if (i % 3 == round % 3)
                Sleep(1);
        }
        StubLog::Close();
    }
    EXPECT_EQ(Messages(m_Path).size(), static_cast<size_t>(written)) << "no line lost";
    DWORD after = OpenHandleCount();
    // The pool may keep its worker thread; events and waits must all be gone.
    EXPECT_LE(after, handles + 2);
}

TEST(ServiceLogTrim, RotatesAtTenMebibytes)
{
    TestFolder dir(L"trim");
    TestServiceLog sink(3600 * 1000, 0);
    std::wstring log = dir / L"service.log";
    std::wstring old = dir / L"service.old.txt";
    struct Case
    {
        LONGLONG size;
        bool rotated;
    };
    const Case cases[] = {{0, false}, {10485759, false}, {10485760, true}, {10485761, true}};
    for (const auto& c : cases)
    {
        ASSERT_TRUE(WriteFileBytes(old, "earlier rotation"));
        ASSERT_TRUE(MakeFileOfSize(log, c.size));
        sink.Trim(log.c_str());
        SCOPED_TRACE(c.size);
        EXPECT_EQ(FileSize(log), c.rotated ? -1 : c.size);
        if (c.rotated)
            EXPECT_EQ(FileSize(old), c.size) << "the earlier rotation is replaced";
        else
            EXPECT_EQ(ReadFileBytes(old), "earlier rotation");
    }
    // A missing file is no trouble.
    DeleteFileW(log.c_str());
    sink.Trim(log.c_str());
}

TEST(ServiceLogTrim, SizeIsLookedAtOncePerInterval)
{
    TestFolder dir(L"trim");
    TestServiceLog sink(3600 * 1000, 3600 * kSecond);
    std::wstring log = dir / L"service.log";
    std::wstring old = dir / L"service.old.txt";
    TestServiceLog::ResetTrimClock();
    ASSERT_TRUE(MakeFileOfSize(log, 10485760));
    sink.Trim(log.c_str());
    EXPECT_NE(FileSize(old), -1) << "the first check looks";
    ASSERT_TRUE(MakeFileOfSize(log, 10485760));
    sink.Trim(log.c_str());
    EXPECT_NE(FileSize(log), -1) << "within the interval nothing moves";
}

// Trim is process-wide and never turned off again: this test comes last.
TEST_F(ServiceLogTest, FlushWithTrimEnabledStartsAFreshFile)
{
    ASSERT_TRUE(MakeFileOfSize(m_Path, 10485760));
    InstallServiceLog(3600 * 1000, 0);
    StubLog::EnableTrim();
    StubLog::Printf("fresh");
    StubLog::Close();
    EXPECT_EQ(Messages(m_Path), V{"fresh"});
    EXPECT_EQ(FileSize(m_Folder.File(L"kvo_test_service.old.txt")), 10485760);
}
} // namespace
