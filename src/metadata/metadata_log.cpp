#include "metadata/metadata_log.h"

#include <cstdarg>
#include <cstdio>

namespace
{
// Written once by the entry point before the first log call; read on the same thread.
MetadataLogCallback g_Callback = nullptr;

class FormattedMessage final : public MetadataLogMessage
{
public:
    FormattedMessage(uint32_t level, const char* text) : m_Level(level), m_Text(text) {}
    uint32_t GetLevel() const override { return m_Level; }
    const char* GetText() const override { return m_Text; }

private:
    uint32_t m_Level;
    const char* m_Text;
};
} // namespace

void SetMetadataLogCallback(MetadataLogCallback callback)
{
    g_Callback = callback;
}

bool MetadataLog(uint32_t level, const char* format, ...)
{
    MetadataLogCallback callback = g_Callback;
    if (!callback)
        return true;
    char text[1024];
    text[0] = '\0';
    if (format)
    {
        va_list args;
        va_start(args, format);
        // vsnprintf cuts at 1023 characters and always terminates.
        if (vsnprintf(text, sizeof text, format, args) < 0)
            text[0] = '\0';
        va_end(args);
    }
    FormattedMessage message(level, text);
    return callback(message) == 0;
}
