// The process's one log channel and the abstract sink behind it.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>

// Kind of the sink that StubLog::Create makes.
enum LogSinkKind : uint32_t
{
    DirectFile = 0,
    Service = 1,
};

class LogSink
{
public:
    virtual ~LogSink() = default;
    virtual bool Open() { return true; }
    virtual void Close() {}
    virtual void SetFileName(const wchar_t* name);
    virtual uint32_t LogLastError(const char* context, bool onlyIfSet);
    virtual uint32_t LogLastErrorUnless(uint32_t ignoredCode, const char* context, bool onlyIfSet);
    virtual bool WriteLine(const char* format, va_list args) = 0;
    virtual bool GetLogPath(std::wstring& path) = 0;
    virtual void EnableTrim() {}
    virtual void Trim(const wchar_t* /*path*/) {}

    const std::wstring& FileName() const { return m_FileName; }

protected:
    // Writes a line through WriteLine from a variadic call.
    bool WriteFormatted(const char* format, ...);

private:
    std::wstring m_FileName;
};

namespace StubLog
{
bool Create(LogSinkKind kind, const wchar_t* name);
void Close();
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void Printf(const char* format, ...);
void VPrintf(const char* format, va_list args);
uint32_t LastError(const char* context, bool onlyIfSet);
uint32_t LastErrorUnless(uint32_t ignoredCode, const char* context, bool onlyIfSet);
void EnableTrim();
void Trim(const wchar_t* path);

// Installs a sink made by the caller (tests, the command-line tool's stderr
// sink). Fails, leaving everything as it was, when a sink already exists.
bool Install(std::unique_ptr<LogSink> sink, LogSinkKind kind);
bool IsOn();
} // namespace StubLog
