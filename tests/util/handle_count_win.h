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
    struct Entry // SYSTEM_HANDLE_TABLE_ENTRY_INFO
    {
        USHORT ProcessId, CreatorBackTraceIndex;
        UCHAR ObjectType, Flags;
        USHORT Handle;
        PVOID Object;
        ACCESS_MASK Access;
    };
    using Query = NTSTATUS(NTAPI*)(ULONG, PVOID, ULONG, PULONG);
    auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<char> buffer(1 << 20);
    NTSTATUS status; // 16: SystemHandleInformation; 0xC0000004: length mismatch
    while (query && (status = query(16, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr)) ==
                        static_cast<NTSTATUS>(0xC0000004L))
        buffer.resize(buffer.size() * 2);
    if (!query || status != 0)
        return 0;
    ULONG total = *reinterpret_cast<const ULONG*>(buffer.data());
    const auto* entries = reinterpret_cast<const Entry*>(buffer.data() + sizeof(void*));
    for (ULONG i = 0; i < total; ++i)
        count += entries[i].ProcessId == static_cast<USHORT>(GetCurrentProcessId());
    return count;
}
