#include "util/path_check.h"

void ForEachPathPrefix(const std::wstring& path, const std::function<void(const std::wstring&)>& visit)
{
    std::wstring prefix;
    prefix.reserve(path.size());
    size_t position = 0;
    while (position < path.size())
    {
        size_t separator = path.find_first_of(L"/\\", position);
        size_t end = separator == std::wstring::npos ? path.size() : separator;
        prefix.append(path, position, end - position);
        visit(prefix);
        if (separator != std::wstring::npos)
            prefix += path[separator];
        position = prefix.size();
    }
}
