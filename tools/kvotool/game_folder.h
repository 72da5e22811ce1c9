// Looking at a game's install folder as the launch stub will: which files
// exist under the names it uses (the places themselves come from the launch
// plan).
// Paths are UTF-8; on Windows "\" separates their parts, elsewhere "/".
#pragma once

#include <string>

namespace kvotool
{
#ifdef _WIN32
constexpr char kPathSeparator = '\\';
#else
constexpr char kPathSeparator = '/';
#endif

// The full path of `path` (relative to the current folder when it is not
// absolute), with "." and ".." resolved and no trailing separator.
std::string FullPath(const std::string& path);

// Whether a file (anything but a folder) exists at `relative` under `folder`.
// `relative` may separate its parts with "\" or "/", as the stub's own paths
// do. Letter case does not matter, as on Windows; `found` gets the path with
// each name as it is on disk. An absolute `relative` is taken as it is.
bool FindFile(const std::string& folder, const std::string& relative, std::string& found);

// Whether the text is an absolute path for the stub: it starts with a drive
// ("C:"), a separator, or is a network path.
bool IsAbsoluteStubPath(const std::string& path);

// `path` shown relative to the user's `shownFolder` when it lies under the
// full folder `folder`, else unchanged.
std::string ShownPath(const std::string& path, const std::string& folder, const std::string& shownFolder);

// File names compared as Windows compares them (ASCII letters in any case).
bool SameNameIgnoringCase(const std::string& a, const std::string& b);
} // namespace kvotool
