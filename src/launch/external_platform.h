// Store-front switches for the launcher's command line.
#pragma once

#include <string>

// Appends the switches of the title's store front (each beginning with a
// blank); for Viveport it also sets "ViveportLocation" in the environment
// that the launcher inherits.
void AppendExternalPlatformArgs(std::wstring& commandLine, const std::wstring& targetFolder);
