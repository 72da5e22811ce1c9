// What holding the checked installer open buys: while the handle is held no
// other process can rename, replace, rewrite or delete the file, so the file
// the shell elevates is the file that was checked. The control runs the same
// attempts against the file when it is not held, and they succeed.
#include "launch/installer_signature_win.h"

#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace
{
std::wstring Here()
{
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L'\\') + 1);
}

std::wstring FullPath(const wchar_t* name)
{
    wchar_t full[MAX_PATH];
    return std::wstring(full, GetFullPathNameW(name, MAX_PATH, full, nullptr));
}

// Runs signature_probe.exe in a process of its own; its exit code.
DWORD Probe(const std::wstring& arguments)
{
    std::wstring commandLine = L"\"" + Here() + L"signature_probe.exe\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
        return 0xFFFFFFFF;
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0xFFFFFFFF;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

// Each attempt against TARGET; the file is put back after one that worked.
void ExpectAttempts(const std::wstring& target, DWORD expected, const char* when)
{
    const std::wstring moved = FullPath(L"lock-moved.exe"), other = FullPath(L"lock-other.exe");
    const std::wstring quoted = L"\"" + target + L"\"";
    EXPECT_EQ(Probe(L"rename " + quoted + L" \"" + moved + L"\""), expected) << "rename, " << when;
    if (GetFileAttributesW(moved.c_str()) != INVALID_FILE_ATTRIBUTES)
        MoveFileW(moved.c_str(), target.c_str());
    ASSERT_TRUE(CopyFileW(FullPath(L"unsigned.exe").c_str(), other.c_str(), FALSE));
    EXPECT_EQ(Probe(L"rename-over " + quoted + L" \"" + other + L"\""), expected) << "rename over, " << when;
    DeleteFileW(other.c_str());
    EXPECT_EQ(Probe(L"write " + quoted), expected) << "open for writing, " << when;
    EXPECT_EQ(Probe(L"delete " + quoted), expected) << "delete, " << when;
}
} // namespace

TEST(InstallerHeldOpen, NoOtherProcessCanTakeTheCheckedFileAway)
{
    const std::wstring target = FullPath(L"lock-target.exe");
    for (const bool held : {false, true, false})
    {
        ASSERT_TRUE(CopyFileW(FullPath(L"signed.exe").c_str(), target.c_str(), FALSE));
        FileHandle handle;
        InstallerSignature signature;
        if (held)
        {
            ASSERT_TRUE(OpenAndReadInstallerSignature(target, signature, handle));
            EXPECT_EQ(signature.verdict, InstallerSignature::Verdict::Signed);
        }
        ExpectAttempts(target, held ? ERROR_SHARING_VIOLATION : 0, held ? "held" : "not held (control)");
        handle.Reset();
        DeleteFileW(target.c_str());
    }
}

TEST(InstallerHeldOpen, AReparsePointIsRefusedAndNotHeld)
{
    const std::wstring link = FullPath(L"link.exe");
    DeleteFileW(link.c_str());
    ASSERT_TRUE(CreateSymbolicLinkW(link.c_str(), FullPath(L"signed.exe").c_str(),
                                    SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE))
        << GetLastError();
    ASSERT_NE(GetFileAttributesW(link.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT, 0u) << "a real reparse point";
    FileHandle handle;
    InstallerSignature signature;
    EXPECT_FALSE(OpenAndReadInstallerSignature(link, signature, handle));
    EXPECT_EQ(signature.verdict, InstallerSignature::Verdict::IsLink);
    EXPECT_FALSE(handle.Valid());
    DeleteFileW(link.c_str());
}
