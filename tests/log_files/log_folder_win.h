// The sinks' log folder "<known folder>\Tavrin Games\Launcher" for tests: made
// (or removed) on request; whatever the test created is removed afterwards.
#pragma once

#include "util/test_folder_win.h"

#include <knownfolders.h>
#include <shlobj.h>

#include <string>
#include <vector>

class LogFolder
{
public:
    explicit LogFolder(const GUID& known)
    {
        wchar_t* path = nullptr;
        if (SUCCEEDED(SHGetKnownFolderPath(known, 0, nullptr, &path)))
            m_Known = path;
        CoTaskMemFree(path);
        m_Maker = m_Known + L"\\Tavrin Games";
        m_Folder = m_Maker + L"\\Launcher";
        m_MakerExisted = GetFileAttributesW(m_Maker.c_str()) != INVALID_FILE_ATTRIBUTES;
        m_FolderExisted = GetFileAttributesW(m_Folder.c_str()) != INVALID_FILE_ATTRIBUTES;
    }
    ~LogFolder()
    {
        for (const auto& name : m_Files)
        {
            DeleteFileW(File(name).c_str());
            DeleteFileW(File(name.substr(0, name.size() - 4) + L".old.txt").c_str());
        }
        if (!m_FolderExisted)
            RemoveTree(m_Folder);
        if (!m_MakerExisted)
            RemoveTree(m_Maker);
    }
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    // A test may only use its own file names inside a folder it did not make.
    std::wstring Use(const std::wstring& name)
    {
        m_Files.push_back(name);
        DeleteFileW(File(name).c_str());
        return File(name);
    }
    bool Create()
    {
        CreateDirectoryW(m_Maker.c_str(), nullptr);
        return CreateDirectoryW(m_Folder.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
    }
    // Only a folder that the test made is removed.
    bool Remove() { return !m_FolderExisted && RemoveTree(m_Folder); }
    std::wstring File(const std::wstring& name) const { return m_Folder + L"\\" + name; }
    const std::wstring& Folder() const { return m_Folder; }

private:
    std::wstring m_Known;
    std::wstring m_Maker;
    std::wstring m_Folder;
    bool m_MakerExisted = false;
    bool m_FolderExisted = false;
    std::vector<std::wstring> m_Files;
};

// Splits a log file into its lines (without CR LF); a trailing part without
// line end is kept as the last element.
inline std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size())
    {
        size_t end = text.find("\r\n", start);
        if (end == std::string::npos)
        {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}
