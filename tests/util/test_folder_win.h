// Test helpers for real files: a fresh folder under the temporary folder that
// is removed with everything in it, and small file utilities.
#pragma once

#include <windows.h>

#include <string>

inline std::wstring TempRoot()
{
    wchar_t buffer[MAX_PATH + 1];
    DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
    std::wstring root(buffer, n);
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
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) && !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
    {
        WIN32_FIND_DATAW data;
        HANDLE find = FindFirstFileW((path + L"\\*").c_str(), &data);
        if (find != INVALID_HANDLE_VALUE)
        {
            do
            {
                std::wstring name = data.cFileName;
                if (name != L"." && name != L"..")
                    RemoveTree(path + L"\\" + name);
            } while (FindNextFileW(find, &data));
            FindClose(find);
        }
        return RemoveDirectoryW(path.c_str()) != 0;
    }
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return RemoveDirectoryW(path.c_str()) != 0;
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    return DeleteFileW(path.c_str()) != 0;
}

class TestFolder
{
public:
    explicit TestFolder(const wchar_t* tag)
    {
        m_Path = TempRoot() + L"\\kvo_" + tag + L"_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                 std::to_wstring(GetTickCount());
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
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    BOOL ok = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    return ok && written == bytes.size();
}

// The whole file, or "<missing>" when it cannot be opened.
inline std::string ReadFileBytes(const std::wstring& path)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return "<missing>";
    std::string bytes;
    char chunk[65536];
    DWORD read = 0;
    while (ReadFile(file, chunk, sizeof chunk, &read, nullptr) && read > 0)
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
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    LARGE_INTEGER distance;
    distance.QuadPart = size;
    BOOL ok = SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) && SetEndOfFile(file);
    CloseHandle(file);
    return ok;
}

inline std::wstring ExeFolder()
{
    wchar_t buffer[MAX_PATH];
    DWORD n = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    std::wstring path(buffer, n);
    return path.substr(0, path.rfind(L'\\'));
}

// Starts "exe" with the arguments; its process handle (the caller closes it),
// or nullptr when it cannot start.
inline HANDLE StartProcess(const std::wstring& exe, const std::wstring& arguments, DWORD flags = 0,
                           DWORD* id = nullptr)
{
    std::wstring commandLine = L"\"" + exe + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(exe.c_str(), &commandLine[0], nullptr, nullptr, FALSE, flags, nullptr, nullptr, &startup,
                        &info))
        return nullptr;
    CloseHandle(info.hThread);
    if (id)
        *id = info.dwProcessId;
    return info.hProcess;
}

// Runs "exe" to its end: its exit code, or 0xFFFFFFFF when it could not start
// or did not end within the time.
inline DWORD RunProcess(const std::wstring& exe, const std::wstring& arguments, DWORD timeoutMs = 60000)
{
    HANDLE process = StartProcess(exe, arguments);
    if (!process)
        return 0xFFFFFFFF;
    DWORD code = 0xFFFFFFFF;
    if (WaitForSingleObject(process, timeoutMs) != WAIT_OBJECT_0 || !GetExitCodeProcess(process, &code))
        code = 0xFFFFFFFF;
    CloseHandle(process);
    return code;
}
