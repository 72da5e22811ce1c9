// Strict JSON validation with line and column in the first error found.
//
// The relaxed reader accepts far more than JSON (bare words, the equals
// syntax); these functions answer whether a text is strict JSON, logging the
// first problem through StubLog::Printf. Nesting is limited to 32 levels.
#pragma once

#include <cstdint>

namespace JsonValidator
{
// Deepest container nesting accepted; the top-level container is level 1.
constexpr int32_t MaxDepth = 32;

// Validates a whole document: one object or array, optionally surrounded by
// blanks, and nothing after it. `text` must be followed by a NUL byte at
// text[length]; a null text or negative length counts as an empty text.
bool Validate(const char* text, int32_t length);

// Validates one object that starts at the text's first byte. With
// `bracesOmitted` the text is a bare member list ("a":1,"b":2) without the
// enclosing braces. Nothing after the object is examined.
bool ValidateMembers(const char* text, int32_t length, bool bracesOmitted);
} // namespace JsonValidator
