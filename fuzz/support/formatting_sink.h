// A log sink for fuzzers: formats every line as a real sink would, so that
// the format arguments are exercised under the sanitizers, then drops it.
#pragma once

#include "log/stub_log.h"

#include <cstdarg>
#include <cstdio>
#include <string>

class FormattingSink : public LogSink
{
public:
    bool WriteLine(const char* format, va_list args) override
    {
        char line[512];
        vsnprintf(line, sizeof line, format, args);
        return true;
    }
    bool GetLogPath(std::wstring& path) override
    {
        path.clear();
        return false;
    }
};
