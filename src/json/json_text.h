// Leaf routines of the structured-text library: character classes, escape
// and UTF-8 coding, value-text conversions, process-wide format settings and
// Base64 (standard alphabet, '=' padding, no line breaks).
//
// Nothing here logs or throws; failures are reported by the result.
#pragma once

#include <cstdint>

// Format settings. Read at every use, so changing one affects all later
// conversions. They are plain pointers to constant text owned by the caller
// that sets them (string literals in practice).
extern const char* FloatWriteFormat;  // "%.5f"
extern const char* DoubleWriteFormat; // "%.5f"
extern const char* FloatReadFormat;   // "%f"
extern const char* DoubleReadFormat;  // "%lf"
extern const char* NullLiteral;       // "null"

// Classes of 7-bit characters; any value of 128 or more belongs to none.
bool IsControl(uint32_t c);      // 0x00-0x1F and 0x7F
bool IsSpace(uint32_t c);        // tab, LF, VT, CR, space (not form feed)
bool IsEscapeLetter(uint32_t c); // " / \ b f n r t
bool IsHexDigit(uint32_t c);
bool IsDigit(uint32_t c);

bool IsStructural(uint8_t c); // one of {}[]=,:
bool NeedsEscape(uint8_t c);  // " \ backspace form-feed LF CR tab
bool IsHighByte(uint8_t c);   // 0x81-0xFF (0x80 is not a member)
inline bool IsQuote(uint32_t c)
{
    return c == '"';
}
inline bool IsBackslash(uint32_t c)
{
    return c == '\\';
}

// Decodes the escape whose first character (the one after the backslash) is
// at p. Returns the number of characters used (at least 1) and the code point.
// A byte of 0x80 or above yields its sign-extended value, which EncodeUtf8
// drops. The first form reads a NUL-terminated text; the second reads at
// most `available` characters and treats the end like a NUL (0 used, code
// point 0, when nothing is available).
int32_t DecodeEscape(const char* p, uint32_t& codePoint);
int32_t DecodeEscape(const char* p, int32_t available, uint32_t& codePoint);

// Writes the UTF-8 form of a code point into out (room for 4 bytes) and
// returns the number of bytes written; 0 above 0x10FFFF. Surrogates are
// encoded like any other value.
uint32_t EncodeUtf8(uint32_t codePoint, char* out);

// Decodes the sequence at `position` by offset decoding: the lead byte plus
// its run of continuation bytes (at most three are taken), advancing the
// position past them. 0 with the position unchanged for a missing text, a
// negative position, a text whose first byte is NUL or a NUL at the
// position. The second form never reads at or past `length`, treating the
// end like a NUL.
uint32_t DecodeUtf8(const char* text, int32_t& position);
uint32_t DecodeUtf8(const char* text, int32_t length, int32_t& position);

// Value-text conversions behind the reader's typed reads. Each reads at most
// `length` bytes of text, skips leading blanks, converts as much as fits and
// stops at the first character that does not. True when a value was
// converted; the output is left unchanged otherwise. Results that do not fit
// the type keep its low bits (two's complement narrowing).
//   Int8/Int16/Int32: optional sign, then 0x/0X hexadecimal, leading 0 octal,
//                     else decimal.
//   Int64:            optional sign and decimal digits only.
//   UInt8/16/32:      text of 3+ bytes starting 0x or 0X: hexadecimal after
//                     the prefix; otherwise optional sign and decimal.
//   UInt64:           as above, but only the lower-case 0x prefix selects
//                     hexadecimal (0X1F reads as 0).
//   Float/Double:     FloatReadFormat / DoubleReadFormat; the standard
//                     conversions read an optional sign, decimal digits with
//                     an optional fraction and exponent, or inf/infinity/nan.
//   Bool:             exactly "true" or "false" in any letter case.
bool TextToInt8(const char* text, int32_t length, int8_t& value);
bool TextToInt16(const char* text, int32_t length, int16_t& value);
bool TextToInt32(const char* text, int32_t length, int32_t& value);
bool TextToInt64(const char* text, int32_t length, int64_t& value);
bool TextToUInt8(const char* text, int32_t length, uint8_t& value);
bool TextToUInt16(const char* text, int32_t length, uint16_t& value);
bool TextToUInt32(const char* text, int32_t length, uint32_t& value);
bool TextToUInt64(const char* text, int32_t length, uint64_t& value);
bool TextToFloat(const char* text, int32_t length, float& value);
bool TextToDouble(const char* text, int32_t length, double& value);
bool TextToBool(const char* text, int32_t length, bool& value);

// True when the text begins with NullLiteral, compared over the literal's
// length in any letter case.
bool TextIsNull(const char* text, int32_t length);

// Base64 sizes. The encoded size counts the terminating NUL (saturating at
// UINT32_MAX for sizes whose encoding does not fit 32 bits). The decoded
// size ignores trailing '='; a length of UINT32_MAX means "up to the NUL".
constexpr uint32_t kBase64ToNul = 0xFFFFFFFFu;
uint32_t Base64EncodedSize(uint32_t size);
uint32_t Base64DecodedSize(const char* text, uint32_t length);

// Encodes size bytes into out, padded with '=' and NUL-terminated; out is
// cleared over its whole capacity first. outLength, when given, receives the
// encoded size including the NUL. False for missing pointers, a size or
// capacity of 0, or a capacity below Base64EncodedSize(size).
bool Base64Encode(const void* data, uint32_t size, char* out, uint32_t capacity,
                  uint32_t* outLength = nullptr);

// Decodes a NUL-terminated text into at most capacity bytes. outLength is set
// to 0 first and then to the bytes written. False for a missing text, a
// decoded size of 0 or above capacity, or when the text was not consumed
// entirely. The alphabet is not checked (see IsBase64).
bool Base64Decode(const char* text, uint32_t capacity, void* out, uint32_t& outLength);

// True when the text is the canonical Base64 encoding of its bytes, with or
// without its trailing '='. A length of 0 means "up to the NUL". Texts longer
// than 1020 characters are not accepted.
bool IsBase64(const char* text, uint32_t length);
