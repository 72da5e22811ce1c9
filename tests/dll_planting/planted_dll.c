/* A stand-in for a system DLL (bcrypt.dll, wintrust.dll) that someone placed
   in a game folder: when any process loads it, it appends that process's
   file name to a marker file beside itself. It exports the calls the control
   programs import, so that a program which imports the DLL the ordinary way
   starts with it. */
#include <windows.h>

static void RecordLoad(HINSTANCE self)
{
    wchar_t marker[MAX_PATH + 32];
    DWORD length = GetModuleFileNameW(self, marker, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return;
    while (length > 0 && marker[length - 1] != L'\\')
        --length;
    lstrcpyW(marker + length, L"planted-dll-loaded.txt");
    HANDLE file = CreateFileW(marker, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, NULL);
    if (file == INVALID_HANDLE_VALUE)
        return;
    wchar_t host[MAX_PATH];
    DWORD hostLength = GetModuleFileNameW(NULL, host, MAX_PATH);
    DWORD written = 0;
    WriteFile(file, host, hostLength * sizeof(wchar_t), &written, NULL);
    WriteFile(file, L"\n", sizeof(wchar_t), &written, NULL);
    CloseHandle(file);
}

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, LPVOID reserved)
{
    (void)reserved;
    if (reason == DLL_PROCESS_ATTACH)
        RecordLoad(self);
    return TRUE;
}

/* Every call fails; nothing is meant to work with this copy. */
__declspec(dllexport) LONG WINAPI
    BCryptOpenAlgorithmProvider(void* a, const wchar_t* b, const wchar_t* c, ULONG d)
{
    (void)a, (void)b, (void)c, (void)d;
    return (LONG)0xC00000BBL; /* STATUS_NOT_SUPPORTED */
}

__declspec(dllexport) LONG WINAPI BCryptGenRandom(void* a, unsigned char* b, ULONG c, ULONG d)
{
    (void)a, (void)b, (void)c, (void)d;
    return (LONG)0xC00000BBL;
}

/* As wintrust.dll: a forged "trusted" answer is what such a copy would give. */
__declspec(dllexport) LONG WINAPI WinVerifyTrust(void* a, void* b, void* c)
{
    (void)a, (void)b, (void)c;
    return 0;
}
