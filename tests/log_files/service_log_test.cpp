#include "log_folder_win.h"

#include "log/service_log.h"
#include "log/stub_log.h"

#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <thread>

namespace
{
// Reaches the periods that only tests may shorten.
class TestServiceLog : public ServiceLog
{
public:
    TestServiceLog(uint32_t flushDelayMs, int64_t trimIntervalTicks)
        : ServiceLog(flushDelayMs, trimIntervalTicks)
    {
        SetFileName(L"kvo_test_service.log");
    }
    using ServiceLog::ResetTrimClock;
};

constexpr int64_t kHour = 3600 * 10000000LL; // system-clock ticks

void InstallServiceLog(uint32_t flushDelayMs, int64_t trimIntervalTicks = kHour)
{
    ASSERT_TRUE(StubLog::Install(std::make_unique<TestServiceLog>(flushDelayMs, trimIntervalTicks), Service));
}

// The messages of the file's lines, after checking each stamp and its process id.
std::vector<std::string> Messages(const std::wstring& path)
{
    static const std::regex line(
        R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] \[ *(\d+)\] \[ *[0-9A-F]+\] (.*))");
    std::vector<std::string> messages;
    for (const auto& text : SplitLines(ReadFileBytes(path)))
    {
        std::smatch m;
        EXPECT_TRUE(std::regex_match(text, m, line)) << "bad stamp: " << text;
        if (!m.empty())
        {
            EXPECT_EQ(std::stoul(m[1].str()), GetCurrentProcessId());
            messages.push_back(m[2].str());
        }
    }
    return messages;
}

// Waits up to 15 s for the condition to hold.
template <typename Condition>
bool WaitFor(Condition condition)
{
    for (int i = 0; i < 750 && !condition(); ++i)
        Sleep(20);
    return condition();
}

class ServiceLogTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_Folder.Create()); }
    void TearDown() override { StubLog::Close(); }

    LogFolder m_Folder{FOLDERID_ProgramData};
    std::wstring m_Path = m_Folder.Use(L"kvo_test_service.log");
};

using V = std::vector<std::string>;

TEST_F(ServiceLogTest, LinesWrittenWithinThePeriodGoOutInOneAppend)
{
    InstallServiceLog(1500);
    StubLog::Printf("one");
    StubLog::Printf("two %d", 2);
    EXPECT_EQ(ReadFileBytes(m_Path), "<missing>") << "writers do no file work";
    ASSERT_TRUE(WaitFor([&] { return FileSize(m_Path) > 0; }));
    // The first content seen already holds both lines: one append.
    EXPECT_EQ(Messages(m_Path), (V{"one", "two 2"}));
    // "[date time] [pid] [tid] ": 26 + 9 + 7 bytes with a short pid and tid.
    EXPECT_EQ(ReadFileBytes(m_Path).substr(42, 5), "one\r\n");
}

TEST_F(ServiceLogTest, CloseAppendsAtOnce)
{
    InstallServiceLog(3600 * 1000); // far beyond the test's time limit
    StubLog::Printf("kept");
    StubLog::Close();
    StubLog::Printf("dropped");
    EXPECT_EQ(Messages(m_Path), V{"kept"});
}

TEST_F(ServiceLogTest, LinesWaitUntilTheFolderExists)
{
    if (!m_Folder.Remove())
        GTEST_SKIP() << "the log folder existed before the test";
    InstallServiceLog(100);
    StubLog::Printf("line 1");
    Sleep(800); // several periods pass while the folder is missing
    EXPECT_EQ(FileSize(m_Folder.Folder()), -1) << "the sink makes no folder";
    StubLog::Printf("line 2");
    ASSERT_TRUE(m_Folder.Create());
    ASSERT_TRUE(WaitFor([&] { return FileSize(m_Path) > 0; }));
    EXPECT_EQ(Messages(m_Path), (V{"line 1", "line 2"}));
}

TEST_F(ServiceLogTest, LinesFromManyThreadsAllArriveInOrder)
{
    InstallServiceLog(5);
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t)
        workers.emplace_back(
            [t]
            {
                for (int i = 0; i < 200; ++i)
                    StubLog::Printf("t%d n%d", t, i);
            });
    for (auto& worker : workers)
        worker.join();
    StubLog::Close();
    V messages = Messages(m_Path);
    ASSERT_EQ(messages.size(), 800u);
    std::vector<int> next(4, 0);
    for (const auto& m : messages)
    {
        int t = m[1] - '0';
        ASSERT_TRUE(t >= 0 && t < 4) << m;
        EXPECT_EQ(m.substr(3), "n" + std::to_string(next[t]++));
    }
}

TEST(ServiceLogTrim, RotatesAtTenMebibytesOncePerInterval)
{
    TestFolder dir(L"trim");
    std::wstring log = dir / L"service.log";
    std::wstring old = dir / L"service.old.txt";
    TestServiceLog sink(3600 * 1000, 0);
    for (LONGLONG size : {10485759LL, 10485760LL})
    {
        SCOPED_TRACE(size);
        ASSERT_TRUE(WriteFileBytes(old, "earlier rotation"));
        ASSERT_TRUE(MakeFileOfSize(log, size));
        sink.Trim(log.c_str());
        bool rotated = size == 10485760;
        EXPECT_EQ(FileSize(log), rotated ? -1 : size);
        EXPECT_EQ(FileSize(old), rotated ? size : 16) << "the earlier rotation is replaced";
    }
    TestServiceLog hourly(3600 * 1000, kHour);
    TestServiceLog::ResetTrimClock();
    ASSERT_TRUE(MakeFileOfSize(log, 10485760));
    hourly.Trim(log.c_str());
    EXPECT_EQ(FileSize(log), -1) << "the first check looks";
    ASSERT_TRUE(MakeFileOfSize(log, 10485760));
    hourly.Trim(log.c_str());
    EXPECT_NE(FileSize(log), -1) << "within the interval nothing moves";
}

} // namespace
