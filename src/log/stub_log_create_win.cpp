#include "log/direct_file_log.h"
#include "log/service_log.h"
#include "log/stub_log.h"

#include <memory>

bool StubLog::Create(LogSinkKind kind, const wchar_t* name)
{
    if (IsOn())
        return false;
    if (kind == DirectFile)
    {
        auto sink = std::make_unique<DirectFileLog>();
        LogSink* raw = sink.get();
        Install(std::move(sink), DirectFile);
        raw->SetFileName(name);
        // A sink whose file could not be created stays and drops every line.
        raw->Open();
        return true;
    }
    if (kind == Service)
    {
        auto sink = std::make_unique<ServiceLog>();
        LogSink* raw = sink.get();
        Install(std::move(sink), Service);
        // This sink opens its file at each flush.
        raw->SetFileName(name);
        return true;
    }
    return false;
}
