// Another process that tries to take the checked installer away: it renames
// the file, renames another file over it, opens it for writing or deletes
// it. Exit code 0 when that worked, otherwise the system's error code.
// "elevate FILE" hands FILE to the shell as given, as the stub once did with
// its relative installer path: the control that shows what a search finds.
#include <windows.h>

#include <shellapi.h>

int wmain(int argc, wchar_t** argv)
{
    if (argc < 3)
        return 87;
    const wchar_t* action = argv[1];
    BOOL done = FALSE;
    if (lstrcmpW(action, L"rename") == 0 && argc == 4)
        done = MoveFileExW(argv[2], argv[3], 0);
    else if (lstrcmpW(action, L"rename-over") == 0 && argc == 4)
        done = MoveFileExW(argv[3], argv[2], MOVEFILE_REPLACE_EXISTING);
    else if (lstrcmpW(action, L"write") == 0)
    {
        HANDLE file =
            CreateFileW(argv[2], GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        done = file != INVALID_HANDLE_VALUE;
        if (done)
            CloseHandle(file);
    }
    else if (lstrcmpW(action, L"delete") == 0)
        done = DeleteFileW(argv[2]);
    else if (lstrcmpW(action, L"elevate") == 0)
    {
        SHELLEXECUTEINFOW info = {};
        info.cbSize = sizeof info;
        info.fMask = SEE_MASK_NOCLOSEPROCESS;
        info.lpVerb = L"runas";
        info.lpFile = argv[2];
        info.nShow = SW_SHOW;
        done = ShellExecuteExW(&info);
        if (done && info.hProcess)
        {
            WaitForSingleObject(info.hProcess, INFINITE);
            CloseHandle(info.hProcess);
        }
    }
    else
        return 87;
    return done ? 0 : static_cast<int>(GetLastError());
}
