// The buffered sink: lines collect in a process-wide buffer and a thread-pool
// wait appends them to the file 10 seconds after the first unflushed line.
// With trim enabled a file of 10 MiB or more is rotated to "<name>.old.txt".
#pragma once

#if defined(_WIN32)

#include "log/stub_log.h"

#include <windows.h>

#include <atomic>
#include <cstdint>

// The buffer and flush state are process-wide: at most one ServiceLog may
// exist at a time. Destroy it only after Close, from a thread other than the
// pool's wait thread (StubLog::Close does both).
class ServiceLog : public LogSink
{
public:
    ServiceLog();
    ~ServiceLog() override;
    ServiceLog(const ServiceLog&) = delete;
    ServiceLog& operator=(const ServiceLog&) = delete;

    // No more lines, no more flushes; waits for a running flush, then appends
    // what is buffered.
    void Close() override;
    bool WriteLine(const char* format, va_list args) override;
    // <common application data>\Tavrin Games\Launcher\<file name>
    bool GetLogPath(std::wstring& path) override;
    void EnableTrim() override;
    // Moves a file of 10 MiB or more to its ".old.txt" name, looking at the
    // size at most once per trim interval.
    void Trim(const wchar_t* path) override;

    void ScheduleFlush();
    void UnscheduleFlush();
    void Flush();
    static void CALLBACK OnFlushTimer(void* context, BOOLEAN timedOut);

    static constexpr uint32_t kFlushDelayMs = 10000;
    // 60 seconds in the 100-nanosecond ticks of the system clock.
    static constexpr int64_t kTrimIntervalTicks = 600000000;
    // Files of this size or more are rotated.
    static constexpr uint64_t kTrimSize = 0xA00000;

protected:
    // Shorter periods for tests; the stub only ever uses the default ones.
    ServiceLog(uint32_t flushDelayMs, int64_t trimIntervalTicks);
    // Forgets the last size check, so that the next Trim looks at the size.
    static void ResetTrimClock();

private:
    // Cancels a pending flush and waits until no flush callback runs.
    void DrainFlushes();

    const uint32_t m_FlushDelayMs;
    const int64_t m_TrimIntervalTicks;
    std::atomic<bool> m_Closed{false};
};

#endif
