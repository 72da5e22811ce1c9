// A sink that keeps each formatted line, so tests can assert on log output.
#pragma once

#include "log/stub_log.h"

#include <cstdio>
#include <string>
#include <vector>

class CaptureSink : public LogSink
{
public:
    explicit CaptureSink(std::vector<std::string>* lines) : m_Lines(lines) {}
    bool WriteLine(const char* format, va_list args) override
    {
        char buffer[4096];
        vsnprintf(buffer, sizeof buffer, format, args);
        m_Lines->push_back(buffer);
        return true;
    }
    bool GetLogPath(std::wstring& path) override
    {
        path.clear();
        return false;
    }

private:
    std::vector<std::string>* m_Lines;
};

// Installs a CaptureSink for the lifetime of the object.
class ScopedLogCapture
{
public:
    ScopedLogCapture() { StubLog::Install(std::make_unique<CaptureSink>(&lines), DirectFile); }
    ~ScopedLogCapture() { StubLog::Close(); }
    ScopedLogCapture(const ScopedLogCapture&) = delete;
    ScopedLogCapture& operator=(const ScopedLogCapture&) = delete;
    bool Contains(const std::string& line) const
    {
        for (const auto& l : lines)
            if (l == line)
                return true;
        return false;
    }
    std::vector<std::string> lines;
};
