// One owner for every Win32 resource that ends with a single call: kernel
// handles, find handles, modules, CNG handles, local memory, a held lock.
// A traits type names what is held and how it ends:
//     using Type = ...;           the handle type
//     static Type Invalid();      what an empty owner holds
//     static bool Valid(Type);    whether a value is to be closed
//     static void Close(Type);    ends it
// Closing keeps the thread's last error: code that fails, lets its owners go
// and then reports GetLastError() must see the failure, not the close.
#pragma once

#include <utility>

#include <windows.h>

template <class Traits>
class ScopedHandle
{
public:
    using Type = typename Traits::Type;

    ScopedHandle() = default;
    explicit ScopedHandle(Type handle) : m_Handle(handle) {}
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
    void Reset(Type handle = Traits::Invalid())
    {
        const Type old = std::exchange(m_Handle, handle);
        if (Traits::Valid(old))
        {
            const DWORD lastError = GetLastError();
            Traits::Close(old);
            SetLastError(lastError);
        }
    }
    Type Release() { return std::exchange(m_Handle, Traits::Invalid()); }
    // Closes the handle held, if any, and gives the slot for a call that
    // returns a new one through a pointer.
    Type* Receive()
    {
        Reset();
        return &m_Handle;
    }
    Type Get() const { return m_Handle; }
    bool Valid() const { return Traits::Valid(m_Handle); }
    explicit operator bool() const { return Valid(); }

private:
    Type m_Handle = Traits::Invalid();
};

// Traits for a pointer-like handle whose only empty value is null; the close
// function is added by deriving.
template <typename T>
struct NullIsEmpty
{
    using Type = T;
    static T Invalid() { return nullptr; }
    static bool Valid(T handle) { return handle != nullptr; }
};

// Kernel handles keep their two failure conventions apart: CreateFileW and
// CreateToolhelp32Snapshot fail with INVALID_HANDLE_VALUE, most other calls
// (OpenProcess, CreateEventW) with null. Neither is ever closed, whatever the
// convention.
struct NullHandleTraits
{
    using Type = HANDLE;
    static HANDLE Invalid() { return nullptr; }
    static bool Valid(HANDLE handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    static void Close(HANDLE handle) { CloseHandle(handle); }
};

struct InvalidValueHandleTraits : NullHandleTraits
{
    static HANDLE Invalid() { return INVALID_HANDLE_VALUE; }
};

struct FindHandleTraits : InvalidValueHandleTraits
{
    static void Close(HANDLE handle) { FindClose(handle); }
};

// A handle whose failure value is null (OpenProcess, CreateEventW, ...).
using KernelHandle = ScopedHandle<NullHandleTraits>;
// A handle whose failure value is INVALID_HANDLE_VALUE (CreateFileW, snapshots).
using FileHandle = ScopedHandle<InvalidValueHandleTraits>;
// A search from FindFirstFileW.
using FindHandle = ScopedHandle<FindHandleTraits>;

struct ModuleTraits : NullIsEmpty<HMODULE>
{
    static void Close(HMODULE module) { FreeLibrary(module); }
};

// Memory the system allocated with LocalAlloc for the caller (CommandLineToArgvW, FormatMessageW).
template <typename T>
struct LocalMemoryTraits : NullIsEmpty<T>
{
    static void Close(T memory) { LocalFree(memory); }
};
template <typename T>
using LocalMemory = ScopedHandle<LocalMemoryTraits<T>>;
