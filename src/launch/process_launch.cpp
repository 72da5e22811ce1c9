#include "launch/process_launch.h"

#include "log/stub_log.h"
#include "util/win_handle.h"

#include <windows.h>
#include <shellapi.h>

bool LaunchProcess(const wchar_t* file, const wchar_t* parameters, bool elevate, bool waitForExit)
{
    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_NOCLOSEPROCESS;
    info.lpVerb = elevate ? L"runas" : L"open";
    info.lpFile = file;
    info.lpParameters = parameters;
    info.nShow = SW_SHOW;
    if (!ShellExecuteExW(&info))
    {
        StubLog::Printf("Failed to launch process.");
        return false;
    }
    StubLog::Printf("Launch succeeded");
    // Null when the shell started nothing it could hand back.
    KernelHandle process(info.hProcess);
    if (!waitForExit)
    {
        process.Release(); // goes with the stub's own exit
        return true;
    }
    StubLog::Printf("waiting for exit...");
    WaitForSingleObject(process.Get(), INFINITE);
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(process.Get(), &exitCode))
        exitCode = 0xFFFFFFFF;
    StubLog::Printf("Application exited with code %d", static_cast<int>(exitCode));
    return exitCode == 0;
}
