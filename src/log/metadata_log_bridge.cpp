#include "log/metadata_log_bridge.h"

#include "log/stub_log.h"

int MetadataLogBridge(MetadataLogMessage& message)
{
    const char* text = message.GetText();
    if (!text)
        text = "";
    switch (message.GetLevel())
    {
    case Assert:
        StubLog::Printf("[Assert ] : %s", text);
        break;
    case Error:
        StubLog::Printf("[Error  ] : %s", text);
        break;
    case Warning:
        StubLog::Printf("[Warning] : %s", text);
        break;
    case Display:
        StubLog::Printf("[Display] : %s", text);
        break;
    default:
        // Verbose notes never reach the log.
        break;
    }
    // Tells the metadata subsystem that the message was taken.
    return 0;
}
