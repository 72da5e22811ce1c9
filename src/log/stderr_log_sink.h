// A sink that writes each line of the channel to standard error, for the
// command-line tool and native tests, where a person reads the messages.
#pragma once

#include "log/stub_log.h"

// Writes the formatted text and "\n", without a time stamp. Installed with
// StubLog::Install(std::make_unique<StderrLogSink>(), DirectFile).
class StderrLogSink : public LogSink
{
public:
    bool WriteLine(const char* format, va_list args) override;
    // Has no file: always false.
    bool GetLogPath(std::wstring& path) override;
};
