// Whole-file reads and all-or-nothing writes for the tool's inputs and outputs.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace kvotool
{
// Reads a whole file (path in UTF-8). "-" reads standard input. On failure
// `error` says why and the result is false.
bool ReadWholeFile(const std::string& path, std::string& bytes, std::string& error);

// Writes `bytes` to a temporary file beside `path` and renames it over `path`
// only once everything was written and flushed, so a failure never leaves a
// half-written file and an existing file is replaced only on success. "-"
// writes to standard output instead.
bool WriteFileAtomically(const std::string& path, const std::string& bytes, std::string& error);

// Whether the stream goes to a terminal (a console window on Windows).
bool IsTerminal(std::FILE* stream);

// Arguments of the process as UTF-8 (on Windows from the wide command line,
// so that names outside the ANSI code page survive).
std::vector<std::string> GetUtf8Arguments(int argc, char** argv);

// A path as a URI reference, for machine-readable reports: relative paths stay
// relative with "/" separators; absolute ones ("/...", "C:\...", "\\server\...")
// become "file:" URIs. Bytes outside the unreserved set are percent-encoded.
std::string PathToUri(const std::string& path);

// Puts standard input and output into binary mode where the platform knows a
// text mode, so container bytes and line ends pass unchanged.
void SetBinaryStdio();
} // namespace kvotool
