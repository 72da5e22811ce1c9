#include "log/stderr_log_sink.h"

#include "log/log_format.h"

#include <cstdio>

bool StderrLogSink::WriteLine(const char* format, va_list args)
{
    char line[2048];
    int n = FormatLogText(line, sizeof line, format, args);
    if (n < 0)
        return false;
    // A longer message is cut to the buffer, as the file sinks do.
    return std::fprintf(stderr, "%s\n", line) >= 0;
}

bool StderrLogSink::GetLogPath(std::wstring& path)
{
    path.clear();
    return false;
}
