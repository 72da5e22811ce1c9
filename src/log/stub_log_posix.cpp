// Native builds have no file sinks and no thread last-error code; the
// command-line tool and tests install their own sink (StubLog::Install).
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
