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

// Each attempt against TARGET, with the error expected while the file is
// held; the file is put back after an attempt that worked.
void ExpectAttempts(const std::wstring& target, bool held)
{
    const std::wstring moved = FullPath(L"lock-moved.exe"), other = FullPath(L"lock-other.exe");
    const std::wstring quoted = L"\"" + target + L"\"";
    ASSERT_TRUE(CopyFileW(FullPath(L"unsigned.exe").c_str(), other.c_str(), FALSE));
    for (const auto& [attempt, errorWhenHeld] : Rows<std::wstring, DWORD>{
             {L"rename " + quoted + L" \"" + moved + L"\"", ERROR_SHARING_VIOLATION},
             {L"rename-over " + quoted + L" \"" + other + L"\"", ERROR_ACCESS_DENIED},
             {L"write " + quoted, ERROR_SHARING_VIOLATION},
             {L"delete " + quoted, ERROR_SHARING_VIOLATION},
         })
    {
        EXPECT_EQ(Probe(attempt), held ? errorWhenHeld : 0)
            << (held ? "held: " : "not held (control): ") << std::string(attempt.begin(), attempt.end());
        if (GetFileAttributesW(moved.c_str()) != INVALID_FILE_ATTRIBUTES)
            MoveFileExW(moved.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING);
        if (GetFileAttributesW(target.c_str()) == INVALID_FILE_ATTRIBUTES || !held)
            CopyFileW(FullPath(L"signed.exe").c_str(), target.c_str(), FALSE);
        if (GetFileAttributesW(other.c_str()) == INVALID_FILE_ATTRIBUTES)
            CopyFileW(FullPath(L"unsigned.exe").c_str(), other.c_str(), FALSE);
    }
    DeleteFileW(other.c_str());
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
        ExpectAttempts(target, held);
        handle.Reset();
        DeleteFileW(target.c_str());
    }
}

// Wine 8 makes no reparse point through CreateSymbolicLinkW (it reports
// success and creates nothing); a folder that is a symbolic link on the host
// is what it reports as one (make_signed_files.py makes it).
TEST(InstallerHeldOpen, AFileBehindAReparsePointIsRefusedAndNotHeld)
{
    for (const auto& [path, link] : Rows<const wchar_t*, bool>{{L"linked-folder\\signed.exe", true},
                                                               {L"real-folder\\signed.exe", false}})
    {
        ASSERT_EQ((GetFileAttributesW(FullPath(path).substr(0, FullPath(path).rfind(L'\\')).c_str()) &
                   FILE_ATTRIBUTE_REPARSE_POINT) != 0,
                  link);
        FileHandle handle;
        InstallerSignature signature;
        EXPECT_EQ(OpenAndReadInstallerSignature(FullPath(path), signature, handle), !link);
        EXPECT_EQ(signature.verdict == InstallerSignature::Verdict::IsLink, link);
        EXPECT_EQ(handle.Valid(), !link);
    }
}
