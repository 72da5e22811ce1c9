// Test helpers for real files: a fresh folder under the temporary folder that
// is removed with everything in it, and small file utilities.
#pragma once

#include "util/win_handle.h"

#include <windows.h>

#include <string>

inline std::wstring TempRoot()
{
    wchar_t buffer[MAX_PATH + 1];
    std::wstring root(buffer, GetTempPathW(MAX_PATH + 1, buffer));
    if (!root.empty() && root.back() == L'\\')
        root.pop_back();
    return root;
}

// Deletes a file or a folder tree; true when nothing is left.
inline bool RemoveTree(const std::wstring& path)
{
    DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return true;
    if (!(attributes & FILE_ATTRIBUTE_DIRECTORY))
        return SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL), DeleteFileW(path.c_str()) != 0;
    WIN32_FIND_DATAW data;
    FindHandle find;
    if (!(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        find.Reset(FindFirstFileW((path + L"\\*").c_str(), &data));
    for (BOOL more = find.Valid(); more; more = FindNextFileW(find.Get(), &data))
        if (std::wstring(data.cFileName) != L"." && std::wstring(data.cFileName) != L"..")
            RemoveTree(path + L"\\" + data.cFileName);
    find.Reset();
    return RemoveDirectoryW(path.c_str()) != 0;
}

class TestFolder
{
public:
    explicit TestFolder(const wchar_t* tag)
        : m_Path(TempRoot() + L"\\kvo_" + tag + L"_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                 std::to_wstring(GetTickCount()))
    {
        RemoveTree(m_Path);
        CreateDirectoryW(m_Path.c_str(), nullptr);
    }
    ~TestFolder() { RemoveTree(m_Path); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    const std::wstring& Path() const { return m_Path; }
    std::wstring operator/(const std::wstring& name) const { return m_Path + L"\\" + name; }

private:
    std::wstring m_Path;
};

inline bool WriteFileBytes(const std::wstring& path, const std::string& bytes)
{
    HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    bool ok = file != INVALID_HANDLE_VALUE &&
              WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
              written == bytes.size();
    return file != INVALID_HANDLE_VALUE && CloseHandle(file) && ok;
}

// The whole file, or "<missing>" when it cannot be opened.
inline std::string ReadFileBytes(const std::wstring& path)
{
    HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return "<missing>";
    std::string bytes;
    char chunk[65536];
    for (DWORD read = 0; ReadFile(file, chunk, sizeof chunk, &read, nullptr) && read > 0;)
        bytes.append(chunk, read);
    CloseHandle(file);
    return bytes;
}

// The size of what is at the path (0 for a folder), or -1 when nothing is.
inline LONGLONG FileSize(const std::wstring& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return -1;
    return (static_cast<LONGLONG>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

// A file of exactly size bytes, written sparsely fast.
inline bool MakeFileOfSize(const std::wstring& path, LONGLONG size)
{
    HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER distance;
    distance.QuadPart = size;
    bool ok = file != INVALID_HANDLE_VALUE && SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) &&
              SetEndOfFile(file);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file) && ok;
}

inline std::wstring ExeFolder()
{
    wchar_t buffer[MAX_PATH];
    std::wstring path(buffer, GetModuleFileNameW(nullptr, buffer, MAX_PATH));
    return path.substr(0, path.rfind(L'\\'));
}

// Starts "exe" with the arguments: its process handle for the caller to close, or nullptr.
inline HANDLE StartProcess(const std::wstring& exe, const std::wstring& arguments, DWORD flags = 0,
                           DWORD* id = nullptr)
{
    std::wstring commandLine = L"\"" + exe + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(exe.c_str(), &commandLine[0], nullptr, nullptr, FALSE, flags, nullptr, nullptr,
                        &startup, &info))
        return nullptr;
    CloseHandle(info.hThread);
    if (id)
        *id = info.dwProcessId;
    return info.hProcess;
}

// Runs "exe" to its end: its exit code, or 0xFFFFFFFF when it could not start or end in time.
inline DWORD RunProcess(const std::wstring& exe, const std::wstring& arguments, DWORD timeoutMs = 60000)
{
    HANDLE process = StartProcess(exe, arguments);
    DWORD code = 0xFFFFFFFF;
    if (process &&
        (WaitForSingleObject(process, timeoutMs) != WAIT_OBJECT_0 || !GetExitCodeProcess(process, &code)))
        code = 0xFFFFFFFF;
    if (process)
        CloseHandle(process);
    return code;
}
