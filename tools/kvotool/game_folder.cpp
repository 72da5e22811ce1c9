#include "game_folder.h"

#include <cctype>
#include <filesystem>
#include <system_error>

namespace kvotool
{
namespace fs = std::filesystem;

namespace
{
fs::path PathOf(const std::string& utf8)
{
#ifdef _WIN32
    return fs::u8path(utf8);
#else
    return fs::path(utf8);
#endif
}

std::string Utf8Of(const fs::path& path)
{
#ifdef _WIN32
    return path.u8string();
#else
    return path.string();
#endif
}

bool IsSeparator(char c)
{
    return c == '\\' || c == '/';
}

bool IsFile(const fs::path& path)
{
    std::error_code ec;
    return fs::exists(path, ec) && !fs::is_directory(path, ec);
}

#ifndef _WIN32
// The entry of `dir` named `name` in any letter case; the exact name first.
bool FindEntry(const fs::path& dir, const std::string& name, fs::path& entry)
{
    std::error_code ec;
    if (fs::exists(dir / name, ec))
    {
        entry = dir / name;
        return true;
    }
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
        if (SameNameIgnoringCase(it->path().filename().string(), name))
        {
            entry = it->path();
            return true;
        }
    return false;
}
#endif
} // namespace

std::string FullPath(const std::string& path)
{
    std::error_code ec;
    fs::path full = fs::absolute(PathOf(path), ec);
    if (ec)
        full = PathOf(path);
    std::string text = Utf8Of(full.lexically_normal());
    // Keep a root ("/", "C:\") whole, drop any other trailing separator.
    while (text.size() > 1 && IsSeparator(text.back()) && !(text.size() == 3 && text[1] == ':'))
        text.pop_back();
    return text;
}

bool IsAbsoluteStubPath(const std::string& path)
{
    return (!path.empty() && IsSeparator(path[0])) ||
           (path.size() >= 2 && std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':');
}

bool FindFile(const std::string& folder, const std::string& relative, std::string& found)
{
    if (relative.empty())
        return false;
#ifdef _WIN32
    std::string name = relative;
    for (char& c : name)
        if (c == '/')
            c = '\\';
    const fs::path path = IsAbsoluteStubPath(name) ? PathOf(name) : PathOf(folder) / PathOf(name);
    if (!IsFile(path))
        return false;
    found = Utf8Of(path);
    return true;
#else
    fs::path path = IsAbsoluteStubPath(relative) ? fs::path("/") : fs::path(folder);
    size_t start = 0;
    while (start <= relative.size())
    {
        size_t end = start;
        while (end < relative.size() && !IsSeparator(relative[end]))
            ++end;
        const std::string part = relative.substr(start, end - start);
        start = end + 1;
        if (part.empty() || part == ".")
            continue;
        if (part == "..")
        {
            path = path.parent_path();
            continue;
        }
        fs::path entry;
        if (!FindEntry(path, part, entry))
            return false;
        path = entry;
    }
    if (!IsFile(path))
        return false;
    found = path.string();
    return true;
#endif
}

std::string ShownPath(const std::string& path, const std::string& folder, const std::string& shownFolder)
{
    if (path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
        IsSeparator(path[folder.size()]))
    {
        std::string base = shownFolder;
        while (base.size() > 1 && IsSeparator(base.back()))
            base.pop_back();
        return base + kPathSeparator + path.substr(folder.size() + 1);
    }
    return path;
}
bool SameNameIgnoringCase(const std::string& a, const std::string& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace kvotool
