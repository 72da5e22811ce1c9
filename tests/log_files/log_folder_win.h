// The sinks' log folder "<known folder>\Tavrin Games\Launcher" for tests; only
// what the test made there is removed afterwards.
#pragma once

#include "util/test_folder_win.h"

#include <knownfolders.h>
#include <shlobj.h>

#include <algorithm>
#include <string>
#include <vector>

class LogFolder
{
public:
    explicit LogFolder(const GUID& known)
    {
        wchar_t* path = nullptr;
        if (SUCCEEDED(SHGetKnownFolderPath(known, 0, nullptr, &path)))
            m_Maker = std::wstring(path) + L"\\Tavrin Games";
        CoTaskMemFree(path);
        m_Folder = m_Maker + L"\\Launcher";
        m_MakerExisted = FileSize(m_Maker) != -1;
        m_FolderExisted = FileSize(m_Folder) != -1;
    }
    ~LogFolder()
    {
        for (const auto& name : m_Files)
            DeleteFileW(File(name).c_str());
        if (!m_FolderExisted)
            RemoveTree(m_Folder);
        if (!m_MakerExisted)
            RemoveTree(m_Maker);
    }

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
    bool Remove() { return !m_FolderExisted && RemoveTree(m_Folder); }
    std::wstring File(const std::wstring& name) const { return m_Folder + L"\\" + name; }
    const std::wstring& Folder() const { return m_Folder; }

private:
    std::wstring m_Maker, m_Folder;
    bool m_MakerExisted, m_FolderExisted;
    std::vector<std::wstring> m_Files;
};

// A log file's lines without their CR LF; a trailing part without line end is kept.
inline std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t start = 0, end; start < text.size(); start = end + 2)
    {
        end = std::min(text.find("\r\n", start), text.size());
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}
