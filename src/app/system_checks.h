// Windows-version checks and the launcher's version check (its minimum is
// the launch plan's).
#pragma once

#include "util/files.h"

#include <cstdint>

bool IsWindowsVersionOrGreater(uint16_t major, uint16_t minor, uint16_t servicePackMajor);
bool IsWindows7OrGreater();
bool IsWindows7Sp1OrGreater();
bool IsWindows10OrGreater();

// False when the launcher is too old or its version cannot be read; in the
// second case versionUnreadable is set (the caller clears it before the call).
bool IsLauncherVersionAcceptable(const wchar_t* launcherPath, bool& versionUnreadable);
