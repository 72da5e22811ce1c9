// Process utilities: the walk over running processes, whether a program is
// running, and the folder of the current executable.
#pragma once

#include <cstddef>
#include <functional>

#include <windows.h>
// tlhelp32.h needs windows.h first.
#include <tlhelp32.h>

namespace libutil
{
// Size of the output of GetCurrentProcessLocation, in bytes.
constexpr std::size_t kProcessLocationSize = 260;

// Calls callback with every process of a snapshot until it returns false.
// True when the snapshot could be read, however early the callback stopped.
// An empty callback is a programming error (std::bad_function_call).
bool ForEachProcess(std::function<bool(const PROCESSENTRY32W&)> callback);

// Whether the program at this full path runs. Only the first process whose
// executable name matches the path's file name is looked at; a bare file name
// without a folder is never running. Logs "Launcher is already running." when
// it is.
bool IsProcessRunning(const wchar_t* path);

// The folder of the current executable as UTF-8 without a trailing separator
// (D:\Games\Title\PlayGame.exe gives D:\Games\Title). False, with out empty,
// when the path cannot be read or does not fit.
bool GetCurrentProcessLocation(char (&out)[kProcessLocationSize]);
} // namespace libutil
