#include "util/process.h"

#include "log/stub_log.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include <shlwapi.h>

#include <cstring>
#include <string>

namespace libutil
{
bool ForEachProcess(std::function<bool(const PROCESSENTRY32W&)> callback)
{
    FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot)
    {
        StubLog::LastError("Could not get a valid snapshot of the process.", true);
        return false;
    }
    PROCESSENTRY32W entry;
    std::memset(&entry, 0, sizeof entry);
    entry.dwSize = sizeof entry;
    if (Process32FirstW(snapshot.Get(), &entry) != TRUE)
    {
        StubLog::LastError("Could not get the process information from the snapshot.", true);
        return false;
    }
    do
    {
        entry.dwSize = sizeof entry;
        if (!callback(entry))
            break;
    } while (Process32NextW(snapshot.Get(), &entry));
    return true;
}

bool IsProcessRunning(const wchar_t* path)
{
    if (!path)
        return false;
    const wchar_t* name = PathFindFileNameW(path);
    if (name == path)
        return false;
    bool running = false;
    ForEachProcess(
        [&](const PROCESSENTRY32W& entry)
        {
            if (_wcsicmp(entry.szExeFile, name) != 0)
                return true;
            // Limited-query access is enough to read the image path, also of
            // processes of other users or elevated ones.
            KernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
            if (process)
            {
                wchar_t image[MAX_PATH * 4];
                DWORD size = sizeof image / sizeof image[0];
                if (QueryFullProcessImageNameW(process.Get(), 0, image, &size) && _wcsicmp(image, path) == 0)
                {
                    StubLog::Printf("Launcher is already running.");
                    running = true;
                }
            }
            // Only the first process with the program's name is looked at.
            return false;
        });
    return running;
}

bool GetCurrentProcessLocation(char (&out)[kProcessLocationSize])
{
    out[0] = '\0';
    wchar_t path[MAX_PATH];
    DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    // A result of MAX_PATH means the path was cut short.
    if (length == 0 || length >= MAX_PATH)
        return false;
    std::string narrow = ToUtf8(path);
    if (narrow.size() >= kProcessLocationSize)
        return false;
    std::memcpy(out, narrow.c_str(), narrow.size() + 1);
    char* separator = nullptr;
    for (char* p = out; *p; ++p)
        if (*p == '\\' || *p == '/')
            separator = p;
    if (separator)
        *separator = '\0';
    return true;
}
} // namespace libutil
