// Owning wrappers for Win32 handles. The two invalid conventions stay apart:
// CreateFileW and CreateToolhelp32Snapshot fail with INVALID_HANDLE_VALUE,
// most other calls (OpenProcess, CreateEventW) with null.
#pragma once

#include <utility>

#include <windows.h>

struct NullHandleTraits
{
    static HANDLE Invalid() { return nullptr; }
};

struct InvalidValueHandleTraits
{
    static HANDLE Invalid() { return INVALID_HANDLE_VALUE; }
};

template <class Traits>
class ScopedHandle
{
public:
    ScopedHandle() = default;
    explicit ScopedHandle(HANDLE handle) : m_Handle(handle) {}
    ~ScopedHandle() { Reset(); }
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;
    ScopedHandle(ScopedHandle&& other) noexcept : m_Handle(other.Release()) {}
    ScopedHandle& operator=(ScopedHandle&& other) noexcept
    {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }

    // Closes the handle held, if any, and takes the new one.
    void Reset(HANDLE handle = Traits::Invalid())
    {
        if (Valid())
            CloseHandle(m_Handle);
        m_Handle = handle;
    }
    HANDLE Release()
    {
        return std::exchange(m_Handle, Traits::Invalid());
    }
    HANDLE Get() const { return m_Handle; }
    // Null and INVALID_HANDLE_VALUE are never closed, whatever the convention.
    bool Valid() const { return m_Handle != nullptr && m_Handle != INVALID_HANDLE_VALUE; }
    explicit operator bool() const { return Valid(); }

private:
    HANDLE m_Handle = Traits::Invalid();
};

// A handle whose failure value is null (OpenProcess, CreateEventW, ...).
using KernelHandle = ScopedHandle<NullHandleTraits>;
// A handle whose failure value is INVALID_HANDLE_VALUE (CreateFileW, snapshots).
using FileHandle = ScopedHandle<InvalidValueHandleTraits>;
