// The check that the log sinks run on a path before they write to it.
#pragma once

#include <string>

// Walks the path from its root and asks about every prefix that ends before a
// separator, and the whole path, whether it is a reparse point. The answers
// are logged like any file query but no path is refused: always false.
bool IsUnsafePath(const std::wstring& path);
