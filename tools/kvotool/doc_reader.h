// Small helpers over the library's reader for diagnostics: where a value
// stands in the text, what it looks like, and the names of members.
#pragma once

#include "json/json_reader.h"

#include <cstddef>
#include <string>

namespace kvotool
{
// Byte offset of the element's value in `text` (the opening quote of a
// string); std::string::npos when the reader is not inside `text`.
size_t ValueOffset(const JsonReader& element, const std::string& text);
// Byte offset of the element's name (its opening quote), else of its value.
size_t NameOffset(const JsonReader& element, const std::string& text);
// The value's text as it stands in the document (quotes removed, escapes kept).
std::string RawValue(const JsonReader& element);
// Whether the value is a quoted string.
bool IsQuoted(const JsonReader& element, const std::string& text);
// An array, or braces holding only unnamed elements (how the equals syntax
// writes an array), or empty braces.
bool IsListLike(const JsonReader& element);
// The unescaped name, or an empty text for an element without one.
std::string MemberName(const JsonReader& element);
// "an object", "an array", "the text "..."", "the number 12", "the word x".
std::string Describe(const JsonReader& element, const std::string& text);
// A text shortened for a message, control characters shown as "?".
std::string Shorten(const std::string& value, size_t max = 40);
} // namespace kvotool
