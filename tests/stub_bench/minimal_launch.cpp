// The baseline of the stub benchmark: starts one program through the shell,
// as the stub starts its launcher, waits for it and does nothing else.
#include <windows.h>
#include <shellapi.h>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR commandLine, int)
{
    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_NOCLOSEPROCESS;
    info.lpVerb = L"open";
    info.lpFile = commandLine;
    info.lpParameters = L"-skipPatcherCheck @args.txt";
    info.nShow = SW_SHOW;
    if (!ShellExecuteExW(&info))
        return 1;
    if (info.hProcess)
    {
        WaitForSingleObject(info.hProcess, INFINITE);
        CloseHandle(info.hProcess);
    }
    return 0;
}
