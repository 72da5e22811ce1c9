// Without a Windows thread last-error code there is nothing to report.
#include "log/stub_log.h"

uint32_t LogSink::LogLastError(const char*, bool)
{
    return 0;
}

uint32_t LogSink::LogLastErrorUnless(uint32_t, const char*, bool)
{
    return 0;
}

bool StubLog::Create(LogSinkKind, const wchar_t*)
{
    return false;
}
