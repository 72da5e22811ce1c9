// printf-style formatting for log lines in which wide text ("%ls", "%lc")
// comes out as UTF-8. The runtimes convert wide arguments through the
// current locale: the Windows one turns "ü" into a single byte and stops at
// any character outside Latin-1, so a localized message or a user's folder
// name would be lost from the log.
#pragma once

#include <cstdarg>
#include <cstddef>

// Same contract as vsnprintf: writes at most size - 1 bytes and a NUL, and
// returns the length the whole text would have, or -1 for a malformed format.
int FormatLogText(char* out, std::size_t size, const char* format, va_list args);

// The length of the longest prefix of text[0, length) that does not end in
// the middle of a UTF-8 character, so that a line cut at its limit keeps
// whole characters only. Bytes that are not UTF-8 are left as they are.
std::size_t Utf8WholePrefix(const char* text, std::size_t length);
