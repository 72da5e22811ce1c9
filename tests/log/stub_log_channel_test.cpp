#include "log/stderr_log_sink.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

namespace
{
using V = std::vector<std::string>;

TEST(StubLogChannel, OffChannelWritesNothing)
{
    EXPECT_FALSE(StubLog::Create(static_cast<LogSinkKind>(7), L"x.log")) << "an unknown kind is refused";
    EXPECT_FALSE(StubLog::IsOn());
    StubLog::Printf("dropped %d", 1);
    V lines;
    {
        ScopedLogCapture capture;
        StubLog::Printf("kept %s %d", "a", 2);
        // A second sink while one exists is refused and the first keeps the lines.
        EXPECT_FALSE(StubLog::Install(std::make_unique<CaptureSink>(&lines), DirectFile));
        EXPECT_FALSE(StubLog::Create(Service, L"x.log"));
        StubLog::Printf("%ls", L"still first");
        EXPECT_EQ(capture.lines, (V{"kept a 2", "still first"}));
    }
    EXPECT_FALSE(StubLog::IsOn());
    StubLog::Printf("after close");
    EXPECT_TRUE(lines.empty());
}

// Records which of the trim slots the channel forwards.
struct TrimRecorder : CaptureSink
{
    explicit TrimRecorder(V* lines) : CaptureSink(lines), calls(lines) {}
    void EnableTrim() override { calls->push_back("EnableTrim"); }
    void Trim(const wchar_t* path) override { calls->push_back("Trim " + std::to_string(std::wcslen(path))); }
    V* calls;
};

TEST(StubLogChannel, TrimReachesOnlyServiceSinks)
{
    for (LogSinkKind kind : {DirectFile, Service})
    {
        V calls;
        ASSERT_TRUE(StubLog::Install(std::make_unique<TrimRecorder>(&calls), kind));
        StubLog::EnableTrim();
        StubLog::Trim(L"a.log");
        StubLog::Close();
        EXPECT_EQ(calls, kind == Service ? (V{"EnableTrim", "Trim 5"}) : V{}) << kind;
    }
    // Without a sink nothing is forwarded and nothing breaks.
    StubLog::EnableTrim();
    StubLog::Trim(L"a.log");
}

TEST(StderrLogSink, WritesEachLineToStandardError)
{
    ASSERT_TRUE(StubLog::Install(std::make_unique<StderrLogSink>(), DirectFile));
    testing::internal::CaptureStderr();
    StubLog::Printf("first %d", 1);
    StubLog::Printf("%s", std::string(3000, 'y').c_str());
    std::string err = testing::internal::GetCapturedStderr();
    StubLog::Close();
    EXPECT_EQ(err, "first 1\n" + std::string(2047, 'y') + "\n");
    std::wstring path = L"unchanged";
    EXPECT_FALSE(StderrLogSink().GetLogPath(path));
}
} // namespace
