// System DLLs that are not on the system's known-DLL list (bcrypt, version)
// are loaded at run time from the system folder only: a copy planted beside
// the executable, in a folder players can often write to, must never run.
#pragma once

#include "util/win_handle.h"

#include <windows.h>

// Owns one module reference from LoadLibraryExW.
class ModuleHandle : public ScopedHandle<ModuleTraits>
{
public:
    using ScopedHandle::ScopedHandle;

    // The named export as a typed function pointer, null when it is missing.
    template <typename Function>
    bool Find(const char* name, Function& function) const
    {
        function = Valid() ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(Get(), name)))
                           : nullptr;
        return function != nullptr;
    }
};

// Loads NAME (a file name such as L"bcrypt.dll") from the system folder and
// nowhere else. Fails (empty handle, last error set) rather than searching.
ModuleHandle LoadSystemLibrary(const wchar_t* name);

// Restricts the process's default DLL search to the system folder, so that
// delay-loaded and indirectly loaded DLLs cannot come from the game folder
// either. Windows 7 without its loader update lacks the call: it is looked up
// at run time and then skipped. Returns whether the restriction is in place.
bool RestrictDllSearchToSystemFolder();
