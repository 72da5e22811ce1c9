#include "log/stub_log.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace
{
TEST(LastError, LinesResultAndClearedCode)
{
    const struct
    {
        DWORD pending;
        const char* context;
        bool onlyIfSet;
        std::vector<std::string> prefixes; // expected lines, by their beginning
    } cases[] = {
        {0, "x", true, {}},
        {0, nullptr, false, {"Last error: 0 (0x0): "}},
        {ERROR_ACCESS_DENIED, "Opening", true, {"Opening", "Last error: 5 (0x5): "}},
        {0x2ABCDEF0, nullptr, true, {"Last error: 717020912 (0x2abcdef0): (unknown error)"}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.pending);
        ScopedLogCapture log;
        SetLastError(c.pending);
        EXPECT_EQ(StubLog::LastError(c.context, c.onlyIfSet), c.pending);
        EXPECT_EQ(GetLastError(), 0u);
        ASSERT_EQ(log.lines.size(), c.prefixes.size());
        for (size_t i = 0; i < c.prefixes.size(); ++i)
            EXPECT_EQ(log.lines[i].rfind(c.prefixes[i], 0), 0u) << log.lines[i];
    }
}

TEST(LastErrorUnless, IgnoredCodeIsClearedSilently)
{
    ScopedLogCapture log;
    SetLastError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(StubLog::LastErrorUnless(ERROR_FILE_NOT_FOUND, nullptr, true), 2u);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_TRUE(log.lines.empty());

    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(StubLog::LastErrorUnless(ERROR_FILE_NOT_FOUND, "ctx", true), 5u);
    EXPECT_EQ(GetLastError(), 0u);
    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.lines[0], "ctx");
    EXPECT_EQ(log.lines[1].rfind("Last error: 5 (0x5): ", 0), 0u);
}
} // namespace
