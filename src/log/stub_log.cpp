#include "log/stub_log.h"

#include <memory>

namespace
{
// Written only by Create/Install and Close, on the main thread, while no
// other thread logs.
std::unique_ptr<LogSink> g_Sink;
LogSinkKind g_Kind = DirectFile;
} // namespace

void LogSink::SetFileName(const wchar_t* name)
{
    m_FileName = name ? name : L"";
}

bool LogSink::WriteFormatted(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    bool ok = WriteLine(format, args);
    va_end(args);
    return ok;
}

namespace StubLog
{
bool Install(std::unique_ptr<LogSink> sink, LogSinkKind kind)
{
    if (g_Sink || !sink)
        return false;
    g_Sink = std::move(sink);
    g_Kind = kind;
    return true;
}

bool IsOn()
{
    return g_Sink != nullptr;
}

void Close()
{
    if (!g_Sink)
        return;
    g_Sink->Close();
    g_Sink.reset();
}

void VPrintf(const char* format, va_list args)
{
    if (!g_Sink)
        return;
    g_Sink->WriteLine(format, args);
}

void Printf(const char* format, ...)
{
    if (!g_Sink)
        return;
    va_list args;
    va_start(args, format);
    g_Sink->WriteLine(format, args);
    va_end(args);
}

uint32_t LastError(const char* context, bool onlyIfSet)
{
    return g_Sink ? g_Sink->LogLastError(context, onlyIfSet) : 0;
}

uint32_t LastErrorUnless(uint32_t ignoredCode, const char* context, bool onlyIfSet)
{
    return g_Sink ? g_Sink->LogLastErrorUnless(ignoredCode, context, onlyIfSet) : 0;
}

void EnableTrim()
{
    if (g_Sink && g_Kind == Service)
        g_Sink->EnableTrim();
}

void Trim(const wchar_t* path)
{
    if (g_Sink && g_Kind == Service)
        g_Sink->Trim(path);
}
} // namespace StubLog
