// System DLLs that are not on the system's known-DLL list (bcrypt, version)
// are loaded at run time from the system folder only: a copy planted beside
// the executable, in a folder players can often write to, must never run.
#pragma once

#include <utility>

#include <windows.h>

// Owns one module reference from LoadLibraryExW.
class ModuleHandle
{
public:
    ModuleHandle() = default;
    explicit ModuleHandle(HMODULE module) : m_Module(module) {}
    ~ModuleHandle() { Reset(); }
    ModuleHandle(const ModuleHandle&) = delete;
    ModuleHandle& operator=(const ModuleHandle&) = delete;
    ModuleHandle(ModuleHandle&& other) noexcept : m_Module(std::exchange(other.m_Module, nullptr)) {}
    ModuleHandle& operator=(ModuleHandle&& other) noexcept
    {
        if (this != &other)
        {
            Reset();
            m_Module = std::exchange(other.m_Module, nullptr);
        }
        return *this;
    }
    void Reset()
    {
        if (m_Module)
            FreeLibrary(std::exchange(m_Module, nullptr));
    }
    HMODULE Get() const { return m_Module; }
    explicit operator bool() const { return m_Module != nullptr; }

    // The named export as a typed function pointer, null when it is missing.
    template <typename Function>
    bool Find(const char* name, Function& function) const
    {
        function = m_Module ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_Module, name)))
                            : nullptr;
        return function != nullptr;
    }

private:
    HMODULE m_Module = nullptr;
};

// Loads NAME (a file name such as L"bcrypt.dll") from the system folder and
// nowhere else. Fails (empty handle, last error set) rather than searching.
ModuleHandle LoadSystemLibrary(const wchar_t* name);

// Restricts the process's default DLL search to the system folder, so that
// delay-loaded and indirectly loaded DLLs cannot come from the game folder
// either. Windows 7 without its loader update lacks the call: it is looked up
// at run time and then skipped. Returns whether the restriction is in place.
bool RestrictDllSearchToSystemFolder();
