// The stub's one straight-line flow, from metadata to a started launcher.
#pragma once

#include <string>

// Runs the flow once; every failure ends it with one message box.
void RunMainFlow();

// The text that follows the program name in a full command line, verbatim.
// Fails for a missing or empty text, and when nothing separates the program
// name from a following part.
bool ExtractOwnArgumentText(const wchar_t* fullCommandLine, std::wstring& arguments);

// ExtractOwnArgumentText of the process's own command line.
bool GetOwnArgumentText(std::wstring& arguments);

// The entry point's work: parse, open the log when asked, create the
// metadata object, run the flow, close the log. Returns the exit code, 0.
int RunStub(const wchar_t* commandLine);
