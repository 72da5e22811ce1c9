// The reader's scans over a document text. Positions are signed 32-bit; every
// scan is bounded by `end` and stops at a NUL byte, so a text need not be
// NUL-terminated. -1 means "nothing found".
//
// The container scan has a block-wise vector form for long containers and a
// plain byte-by-byte form that defines the behaviour; both are exposed so that
// tests and the fuzzer can check that they agree.
#pragma once

#include <cstdint>

namespace jsonscan
{
// Position of the first non-blank at or after i.
int32_t SkipSpaceSlow(const char* s, int32_t end, int32_t i);
inline int32_t SkipSpace(const char* s, int32_t end, int32_t i)
{
    // Most calls land on a non-blank already.
    if (i >= 0 && i < end)
    {
        const char c = s[i];
        if (c != ' ' && c != '\n' && c != '\r' && c != '\t' && c != '\v')
            return c == '\0' ? -1 : i;
    }
    return SkipSpaceSlow(s, end, i);
}
// Position after the bare token starting at i (the first byte always belongs).
int32_t TokenEnd(const char* s, int32_t end, int32_t i);
// Position after the value at i: a quoted string (both quotes) or a token.
int32_t ValueEnd(const char* s, int32_t end, int32_t i);
// Position after the container opened at i, counting only its own kind of
// bracket and skipping quoted strings. Nesting deeper than 32 sets tooDeep.
int32_t ContainerEnd(const char* s, int32_t end, int32_t i, bool& tooDeep);
int32_t ContainerEndBytewise(const char* s, int32_t end, int32_t i, bool& tooDeep);
// The block-wise scan with 128-bit registers only, as the Windows build runs
// it; lets the native tests and the fuzzer check that form too.
int32_t ContainerEndBaseline(const char* s, int32_t end, int32_t i, bool& tooDeep);
} // namespace jsonscan
