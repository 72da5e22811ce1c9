#include "log/metadata_log_bridge.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

namespace
{
struct Message : MetadataLogMessage
{
    Message(uint32_t l, const char* t) : level(l), text(t) {}
    uint32_t GetLevel() const override { return level; }
    const char* GetText() const override { return text; }
    uint32_t level;
    const char* text;
};

TEST(MetadataLogBridge, LevelsBecomePrefixesAndVerboseIsDropped)
{
    const struct
    {
        uint32_t level;
        const char* line; // nullptr: nothing written
    } cases[] = {
        {Assert, "[Assert ] : text 100%"},
        {Error, "[Error  ] : text 100%"},
        {Warning, "[Warning] : text 100%"},
        {Display, "[Display] : text 100%"},
        {Verbose, nullptr},
        {77, nullptr},
    };
    for (const auto& c : cases)
    {
        ScopedLogCapture log;
        // The text is a value, never a format: "%" stays as it is.
        Message message(c.level, "text 100%");
        EXPECT_EQ(MetadataLogBridge(message), 0);
        if (c.line)
            EXPECT_EQ(log.lines, std::vector<std::string>{c.line}) << c.level;
        else
            EXPECT_TRUE(log.lines.empty()) << c.level;
    }
    // With the channel off the message is still taken.
    Message message(Error, "lost");
    EXPECT_EQ(MetadataLogBridge(message), 0);
}
} // namespace
