#include "util/system_library.h"

#include <string>

ModuleHandle LoadSystemLibrary(const wchar_t* name)
{
    HMODULE module = LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (!module && GetLastError() == ERROR_INVALID_PARAMETER)
    {
        // A system without the search flags: name the file in the system
        // folder by its full path, which is never searched for.
        wchar_t folder[MAX_PATH];
        const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
        if (length == 0 || length >= MAX_PATH)
            return ModuleHandle();
        std::wstring path(folder, length);
        path += L'\\';
        path += name;
        module = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    }
    return ModuleHandle(module);
}

bool RestrictDllSearchToSystemFolder()
{
    using SetDefaultDllDirectoriesFunction = BOOL(WINAPI*)(DWORD);
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    if (!kernel)
        return false;
    const auto restrict = reinterpret_cast<SetDefaultDllDirectoriesFunction>(
        reinterpret_cast<void*>(GetProcAddress(kernel, "SetDefaultDllDirectories")));
    if (!restrict)
    {
        SetLastError(0);
        return false;
    }
    return restrict(LOAD_LIBRARY_SEARCH_SYSTEM32) != FALSE;
}
