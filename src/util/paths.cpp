#include "util/files.h"

#include <utility>

bool GetFileNamePart(const std::wstring& path, std::wstring& name)
{
    auto pos = path.rfind(L'\\');
    if (path.empty() || pos == std::wstring::npos)
        return false;
    name = path.substr(pos + 1);
    return true;
}

bool GetParentPath(const std::wstring& path, std::wstring& parent)
{
    auto pos = path.rfind(L'\\');
    if (path.empty() || pos == std::wstring::npos)
        return false;
    parent = path.substr(0, pos);
    return true;
}

void JoinPath(std::wstring& base, const std::wstring& name)
{
    if (!base.empty() && base.back() != L'\\')
        base += L'\\';
    if (!name.empty() && name.front() == L'\\')
        base.append(name, 1, std::wstring::npos);
    else
        base += name;
}

void JoinPath(const std::wstring& base, const std::wstring& name, std::wstring& result)
{
    // A copy first: result may be the same object as base or name.
    std::wstring joined = base;
    JoinPath(joined, name);
    result = std::move(joined);
}
