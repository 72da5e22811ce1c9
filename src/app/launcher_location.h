// Where the launcher and the game are, and whether the store front's installer
// is due (by the launch plan's rule). Nothing here shows a message; the main
// flow decides what a failure means.
#pragma once

#include <string>

// The registry value that the launcher's installer writes.
constexpr const wchar_t* kLauncherRegistryKey = L"SOFTWARE\\WOW6432Node\\Tavrin Games\\Launcher";
constexpr const wchar_t* kLauncherRegistryValue = L"InstallFolder";

bool LocateLauncher(std::wstring& path);
bool GetTargetFolder(std::wstring& folder);
bool GetGameExecutablePath(std::wstring& path);
bool IsLauncherInstallNeeded();
bool IsLauncherRunning(const std::wstring& launcherPath);
