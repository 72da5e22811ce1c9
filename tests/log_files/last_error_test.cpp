#include "log/stub_log.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace
{
struct LastErrorCase
{
    const char* name;
    DWORD pending;
    const char* context;
    bool onlyIfSet;
    uint32_t result;
    std::vector<std::string> prefixes; // expected lines, by their beginning
};

TEST(LastError, LinesResultAndClearedCode)
{
    const LastErrorCase cases[] = {
        {"nothing pending, only if set", 0, "x", true, 0, {}},
        {"nothing pending, always", 0, nullptr, false, 0, {"Last error: 0 (0x0): "}},
        {"with context", ERROR_ACCESS_DENIED, "Opening", true, 5, {"Opening", "Last error: 5 (0x5): "}},
        {"unknown code", 0x2ABCDEF0, nullptr, true, 0x2ABCDEF0,
         {"Last error: 717020912 (0x2abcdef0): (unknown error)"}},
    };
    for (const auto& c : cases)
    {
        ScopedLogCapture log;
        SetLastError(c.pending);
        EXPECT_EQ(StubLog::LastError(c.context, c.onlyIfSet), c.result) << c.name;
        EXPECT_EQ(GetLastError(), 0u) << c.name;
        ASSERT_EQ(log.lines.size(), c.prefixes.size()) << c.name;
        for (size_t i = 0; i < c.prefixes.size(); ++i)
            EXPECT_EQ(log.lines[i].rfind(c.prefixes[i], 0), 0u) << c.name << ": " << log.lines[i];
    }
}

TEST(LastErrorUnless, IgnoredCodeIsClearedSilently)
{
    ScopedLogCapture log;
    // A failed open of a missing file leaves ERROR_FILE_NOT_FOUND.
    HANDLE file = CreateFileW(L"C:\\kvo-missing-file.txt", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_EQ(file, INVALID_HANDLE_VALUE);
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
