// The check that the log sinks run on a path before they write to it.
#pragma once

#include <functional>
#include <string>

// Calls visit with every prefix of path that ends just before a separator
// ("/" or "\"), from the root on, and then with the whole path: for
// C:\Users\file.log that is C:, C:\Users, C:\Users\file.log.
void ForEachPathPrefix(const std::wstring& path, const std::function<void(const std::wstring&)>& visit);

#if defined(_WIN32)
// Asks of every prefix (ForEachPathPrefix) whether it is a reparse point. The
// answers are logged like any file query but no path is refused: always false.
bool IsUnsafePath(const std::wstring& path);
#endif
