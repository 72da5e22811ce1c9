// A process-wide critical section that lives from static initialisation until
// exit; recursive like every critical section. It is initialised and deleted
// in place, at its own address, so it is not an owner of a movable value.
#pragma once

#include "util/win_handle.h"

#include <windows.h>

class CriticalSection
{
public:
    CriticalSection() { InitializeCriticalSection(&m_Section); }
    ~CriticalSection() { DeleteCriticalSection(&m_Section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    void Enter() { EnterCriticalSection(&m_Section); }
    void Leave() { LeaveCriticalSection(&m_Section); }

private:
    CRITICAL_SECTION m_Section;
};

// Leaving is the close of a held section, so it goes through the one owner
// (and keeps the last error like every other close).
struct LeaveCriticalSectionTraits : NullIsEmpty<CriticalSection*>
{
    static void Close(CriticalSection* section) { section->Leave(); }
};

// Holds the section from construction to destruction.
class CriticalSectionGuard
{
public:
    explicit CriticalSectionGuard(CriticalSection& section) : m_Held((section.Enter(), &section)) {}

private:
    ScopedHandle<LeaveCriticalSectionTraits> m_Held;
};
