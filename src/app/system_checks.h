// Windows-version checks and the launcher's minimum version.
#pragma once

#include "util/files.h"

#include <cstdint>

bool IsWindowsVersionOrGreater(uint16_t major, uint16_t minor, uint16_t servicePackMajor);
bool IsWindows7OrGreater();
bool IsWindows7Sp1OrGreater();
bool IsWindows10OrGreater();

// Component-wise comparison from major to revision, as signed numbers.
bool IsVersionAtLeast(const FileVersion& version, const FileVersion& minimum);

// Whether a store front of this number holds the launcher to the minimum version.
bool IsPlatformHeldToMinimum(uint32_t gamePlatform);

// False when the launcher is too old or its version cannot be read; in the
// second case versionUnreadable is set (the caller clears it before the call).
bool IsLauncherVersionAcceptable(const wchar_t* launcherPath, bool& versionUnreadable);
