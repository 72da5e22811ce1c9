#include "support/capture_sink.h"

#include <gtest/gtest.h>

TEST(StubLogChannel, OffChannelWritesNothing)
{
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
        StubLog::Printf("still first");
        EXPECT_TRUE(capture.Contains("still first"));
    }
    EXPECT_FALSE(StubLog::IsOn());
    StubLog::Printf("after close");
    EXPECT_TRUE(lines.empty());
}
