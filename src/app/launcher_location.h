// Where the launcher, the game and the launcher's installer are. Nothing here
// shows a message; the main flow decides what a failure means.
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
bool GetRedistributablesFolder(std::wstring& folder);
std::wstring GetTitleIdText();
