#include "log/service_log.h"

#include "log/critical_section_win.h"
#include "log/direct_file_log.h"
#include "util/path_check.h"
#include "util/win_handle.h"

#include <knownfolders.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <utility>

namespace
{
// One set per process, as there is at most one ServiceLog at a time.
CriticalSection g_LogBufferLock;
CriticalSection g_FlushScheduleLock;

std::string g_Buffer;                     // LogBufferLock
std::atomic<std::size_t> g_BufferSize{0}; // mirrors g_Buffer.size(), read without the lock
HANDLE g_FlushEvent = nullptr;            // FlushScheduleLock
HANDLE g_FlushWait = nullptr;             // FlushScheduleLock
std::atomic<bool> g_TrimEnabled{false};
int64_t g_LastSizeCheck = 0; // only touched inside flushes
// Flush callbacks that have started and not yet returned; Close waits for 0.
std::atomic<int> g_CallbacksRunning{0};

int64_t SystemTicks()
{
    using Ticks = std::chrono::duration<int64_t, std::ratio<1, 10000000>>;
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string TakeBuffer()
{
    std::string taken;
    CriticalSectionGuard guard(g_LogBufferLock);
    taken.swap(g_Buffer);
    g_BufferSize = 0;
    return taken;
}
} // namespace

ServiceLog::ServiceLog() : ServiceLog(kFlushDelayMs, kTrimIntervalTicks) {}

ServiceLog::ServiceLog(uint32_t flushDelayMs, int64_t trimIntervalTicks)
    : m_FlushDelayMs(flushDelayMs), m_TrimIntervalTicks(trimIntervalTicks)
{
}

ServiceLog::~ServiceLog()
{
    // Normally a no-op after Close; keeps a forgotten Close from leaving a
    // callback armed on a freed sink.
    m_Closed = true;
    DrainFlushes();
}

void ServiceLog::ResetTrimClock()
{
    g_LastSizeCheck = 0;
}

bool ServiceLog::GetLogPath(std::wstring& path)
{
    return log_detail::KnownFolderLogPath(FOLDERID_ProgramData, FileName(), path);
}

void ServiceLog::EnableTrim()
{
    g_TrimEnabled = true;
}

bool ServiceLog::WriteLine(const char* format, va_list args)
{
    if (m_Closed)
        return false;
    char line[log_detail::kLineBufferSize];
    log_detail::FormatLine(line, true, format, args);
    {
        CriticalSectionGuard guard(g_LogBufferLock);
        g_Buffer.append(line, std::strlen(line));
        g_BufferSize = g_Buffer.size();
    }
    ScheduleFlush();
    return true;
}

void ServiceLog::ScheduleFlush()
{
    if (m_Closed)
        return;
    CriticalSectionGuard guard(g_FlushScheduleLock);
    // Checked again under the lock: Close sets the flag before it takes the
    // lock to cancel, so no wait is armed after that.
    if (m_Closed || g_FlushWait)
        return;
    KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event)
        return;
    HANDLE wait = nullptr;
    // Nothing signals the event: the wait always ends by its time-out.
    if (!RegisterWaitForSingleObject(&wait, event.Get(), &ServiceLog::OnFlushTimer, this, m_FlushDelayMs,
                                     WT_EXECUTEINWAITTHREAD | WT_EXECUTEONLYONCE))
        return;
    g_FlushEvent = event.Release();
    g_FlushWait = wait;
}

void ServiceLog::UnscheduleFlush()
{
    CriticalSectionGuard guard(g_FlushScheduleLock);
    if (g_FlushWait)
    {
        // Does not wait: this also runs inside the callback of that very wait.
        UnregisterWaitEx(g_FlushWait, nullptr);
        g_FlushWait = nullptr;
    }
    KernelHandle(std::exchange(g_FlushEvent, nullptr)).Reset();
}

void ServiceLog::DrainFlushes()
{
    HANDLE wait;
    KernelHandle event;
    {
        CriticalSectionGuard guard(g_FlushScheduleLock);
        wait = std::exchange(g_FlushWait, nullptr);
        event.Reset(std::exchange(g_FlushEvent, nullptr));
    }
    // Outside the lock, since a running callback takes it: waits until the
    // callback of this wait, if it has started, has returned.
    if (wait)
        UnregisterWaitEx(wait, INVALID_HANDLE_VALUE);
    event.Reset();
    // A callback that unregistered its own wait before we looked is counted.
    while (g_CallbacksRunning.load() > 0)
        Sleep(1);
}

void CALLBACK ServiceLog::OnFlushTimer(void* context, BOOLEAN)
{
    ++g_CallbacksRunning;
    SetLastError(0);
    auto* self = static_cast<ServiceLog*>(context);
    if (!self->m_Closed)
    {
        self->Flush();
        CriticalSectionGuard guard(g_FlushScheduleLock);
        self->UnscheduleFlush();
        // Lines that came in meanwhile, or that could not be written, get the
        // next period.
        if (g_BufferSize.load() > 0 && !self->m_Closed)
            self->ScheduleFlush();
    }
    // Last touch of the sink: after this Close may destroy it.
    --g_CallbacksRunning;
}

void ServiceLog::Close()
{
    m_Closed = true;
    DrainFlushes();
    Flush();
}

void ServiceLog::Flush()
{
    if (g_BufferSize.load() == 0)
        return;
    std::wstring path;
    if (!GetLogPath(path))
    {
        TakeBuffer(); // no place for these lines: they are lost
        return;
    }
    if (IsUnsafePath(path))
        return;
    if (g_TrimEnabled)
        Trim(path.c_str());
    FileHandle file(
        CreateFileW(path.c_str(), FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return; // the lines wait for the next flush
    if (GetLastError() == ERROR_ALREADY_EXISTS)
        SetLastError(0);
    if (SetFilePointer(file.Get(), 0, nullptr, FILE_END) == INVALID_SET_FILE_POINTER)
        return;
    std::string taken = TakeBuffer();
    DWORD written = 0;
    WriteFile(file.Get(), taken.data(), static_cast<DWORD>(taken.size()), &written, nullptr);
}

void ServiceLog::Trim(const wchar_t* path)
{
    int64_t now = SystemTicks();
    if (now - g_LastSizeCheck < m_TrimIntervalTicks)
        return;
    g_LastSizeCheck = now;
    LARGE_INTEGER size;
    {
        FileHandle file(
            CreateFileW(path, FILE_READ_DATA, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file)
            return;
        if (!GetFileSizeEx(file.Get(), &size))
            return;
    }
    if (static_cast<uint64_t>(size.QuadPart) < kTrimSize)
        return;
    std::wstring rotated(path);
    rotated.resize(rotated.size() >= 4 ? rotated.size() - 4 : 0);
    rotated += L".old.txt";
    // Failures are ignored: the next append goes to whatever the path names.
    DeleteFileW(rotated.c_str());
    MoveFileW(path, rotated.c_str());
}
