#include "log/stderr_log_sink.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

namespace
{
TEST(StubLogChannel, OffChannelWritesNothing)
{
    EXPECT_FALSE(StubLog::Create(static_cast<LogSinkKind>(7), L"x.log")) << "an unknown kind is refused";
    EXPECT_FALSE(StubLog::IsOn());
    StubLog::Printf("dropped %d", 1);
    std::vector<std::string> lines;
    {
        ScopedLogCapture capture;
        StubLog::Printf("kept %s %d", "a", 2);
        StubLog::Printf("%ls", L"wide");
        EXPECT_EQ(capture.lines, (std::vector<std::string>{"kept a 2", "wide"}));
        // A second sink while one exists is refused and the first keeps the lines.
        EXPECT_FALSE(StubLog::Install(std::make_unique<CaptureSink>(&lines), DirectFile));
        EXPECT_FALSE(StubLog::Create(DirectFile, L"x.log"));
        StubLog::Printf("still first");
        EXPECT_TRUE(capture.Contains("still first"));
    }
    EXPECT_FALSE(StubLog::IsOn());
    StubLog::Printf("after close");
    EXPECT_TRUE(lines.empty());
}

// Records which of the trim slots the channel forwards.
class TrimRecorder : public CaptureSink
{
public:
    TrimRecorder(std::vector<std::string>* lines) : CaptureSink(lines), m_Lines(lines) {}
    void EnableTrim() override { m_Lines->push_back("EnableTrim"); }
    void Trim(const wchar_t* path) override { m_Lines->push_back("Trim " + std::to_string(std::wcslen(path))); }

private:
    std::vector<std::string>* m_Lines;
};

TEST(StubLogChannel, TrimReachesOnlyServiceSinks)
{
    using V = std::vector<std::string>;
    const struct
    {
        LogSinkKind kind;
        V expected;
    } cases[] = {{DirectFile, V{}}, {Service, V{"EnableTrim", "Trim 5"}}};
    for (const auto& c : cases)
    {
        V calls;
        ASSERT_TRUE(StubLog::Install(std::make_unique<TrimRecorder>(&calls), c.kind));
        StubLog::EnableTrim();
        StubLog::Trim(L"a.log");
        StubLog::Close();
        EXPECT_EQ(calls, c.expected) << c.kind;
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
    StubLog::Printf("%ls", L"wide");
    std::string err = testing::internal::GetCapturedStderr();
    StubLog::Close();
    EXPECT_EQ(err, "first 1\n" + std::string(2047, 'y') + "\nwide\n");
    std::wstring path = L"unchanged";
    EXPECT_FALSE(StderrLogSink().GetLogPath(path));
}
} // namespace
