#include "log/direct_file_log.h"

#include "log/critical_section_win.h"
#include "util/path_check.h"

#include <knownfolders.h>

namespace
{
CriticalSection g_FileHandleLock;
} // namespace

namespace log_detail
{
void EnterFileHandleLock()
{
    g_FileHandleLock.Enter();
}

void LeaveFileHandleLock()
{
    g_FileHandleLock.Leave();
}
} // namespace log_detail

bool DirectFileLog::GetLogPath(std::wstring& path)
{
    return log_detail::KnownFolderLogPath(FOLDERID_LocalAppData, FileName(), path);
}

bool DirectFileLog::Open()
{
    if (m_Opened)
        return false;
    std::wstring path;
    if (!GetLogPath(path))
        return false;
    if (IsUnsafePath(path))
        return false;
    CriticalSectionGuard guard(g_FileHandleLock);
    // No sharing: nobody else writes to or reads the log while the stub runs.
    m_File.Reset(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    m_Opened = true;
    if (!m_File)
        return false;
    // Replacing the previous run's file is expected, not an error to report.
    if (GetLastError() == ERROR_ALREADY_EXISTS)
        SetLastError(0);
    return true;
}

void DirectFileLog::Close()
{
    if (!m_Opened)
        return;
    CriticalSectionGuard guard(g_FileHandleLock);
    m_File.Reset();
}

bool DirectFileLog::WriteLine(const char* format, va_list args)
{
    if (!m_Opened)
        return false;
    // Logging must not disturb the caller's pending error code.
    DWORD pending = GetLastError();
    char line[log_detail::kLineBufferSize];
    std::size_t length = log_detail::FormatLine(line, false, format, args);
    bool ok = false;
    {
        CriticalSectionGuard guard(g_FileHandleLock);
        if (m_File)
        {
            DWORD written = 0;
            ok = WriteFile(m_File.Get(), line, static_cast<DWORD>(length), &written, nullptr) &&
                 written == length;
        }
    }
    SetLastError(pending);
    return ok;
}
