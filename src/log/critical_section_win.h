// A process-wide critical section that lives from static initialisation until
// exit; recursive like every critical section.
#pragma once

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

class CriticalSectionGuard
{
public:
    explicit CriticalSectionGuard(CriticalSection& section) : m_Section(section) { m_Section.Enter(); }
    ~CriticalSectionGuard() { m_Section.Leave(); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

private:
    CriticalSection& m_Section;
};
