// The number of handles this process holds, for leak checks in tests.
#pragma once

#include <windows.h>
#include <winternl.h>

#include <vector>

// Wine answers GetProcessHandleCount with success and a count of 0, which
// would make every leak check pass; its system handle list is exact, so the
// handles are counted there instead.
inline DWORD OpenHandleCount()
{
    DWORD count = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &count) && count > 0)
        return count;
    struct Entry
    {
        USHORT ProcessId;
        USHORT CreatorBackTraceIndex;
        UCHAR ObjectType;
        UCHAR Flags;
        USHORT Handle;
        PVOID Object;
        ACCESS_MASK Access;
    };
    struct Table
    {
        ULONG Count;
        Entry Entries[1];
    };
    using Query = NTSTATUS(NTAPI*)(ULONG, PVOID, ULONG, PULONG);
    auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    if (!query)
        return 0;
    const ULONG systemHandleInformation = 16;
    const NTSTATUS lengthMismatch = static_cast<NTSTATUS>(0xC0000004L);
    std::vector<char> buffer(1 << 20);
    NTSTATUS status;
    while ((status = query(systemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr)) ==
           lengthMismatch)
        buffer.resize(buffer.size() * 2);
    if (status != 0)
        return 0;
    const auto* table = reinterpret_cast<const Table*>(buffer.data());
    const auto self = static_cast<USHORT>(GetCurrentProcessId());
    for (ULONG i = 0; i < table->Count; ++i)
        if (table->Entries[i].ProcessId == self)
            ++count;
    return count;
}
