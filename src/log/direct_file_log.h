// The sink the stub uses: stub.log under the user's local application-data
// folder, created afresh when opened, each line written at once.
#pragma once

#if defined(_WIN32)

#include "log/stub_log.h"
#include "util/win_handle.h"

#include <cstddef>

class DirectFileLog : public LogSink
{
public:
    // Creates the file (emptying an existing one); a sink is opened once.
    bool Open() override;
    void Close() override;
    bool WriteLine(const char* format, va_list args) override;
    // <local application data>\Tavrin Games\Launcher\<file name>
    bool GetLogPath(std::wstring& path) override;

private:
    // True once Open created a handle, even a failed one: no second try.
    bool m_Opened = false;
    FileHandle m_File;
};

// Shared by both file sinks.
namespace log_detail
{
// Room of the line buffer; a line is at most kLineBufferSize - 2 bytes long,
// line end included.
constexpr std::size_t kLineBufferSize = 2049;

// Builds the line (local-time stamp, message, CR LF) into buffer and returns
// its length; with withIds the stamp carries the process and thread ids.
// Copies the line to an attached debugger.
std::size_t FormatLine(char (&buffer)[kLineBufferSize], bool withIds, const char* format, va_list args);

// <known folder>\Tavrin Games\Launcher\<name>; false when name is empty or the
// folder is unknown.
bool KnownFolderLogPath(const GUID& folder, const std::wstring& name, std::wstring& path);

// Guards the direct log's file creation, writes and close.
void EnterFileHandleLock();
void LeaveFileHandleLock();
} // namespace log_detail

#endif
