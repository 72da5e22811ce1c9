// Feeds arbitrary bytes to the strict validator in all three entry modes, and
// checks that whatever it accepts the relaxed reader parses too.
// A sink that really formats each message is installed, so the '%s' of the
// extra-content message is exercised as well.
#include "json/json_reader.h"
#include "json/json_validator.h"
#include "log/stub_log.h"
#include "support/formatting_sink.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{

const bool kSinkInstalled = StubLog::Install(std::make_unique<FormattingSink>(), DirectFile);

bool IsWellFormedUtf8(const uint8_t* p, size_t size)
{
    size_t i = 0;
    while (i < size)
    {
        const uint8_t lead = p[i];
        size_t more = 0;
        if (lead < 0x80)
            more = 0;
        else if (lead >= 0xC2 && lead <= 0xDF)
            more = 1;
        else if (lead >= 0xE0 && lead <= 0xEF)
            more = 2;
        else if (lead >= 0xF0 && lead <= 0xF4)
            more = 3;
        else
            return false;
        if (size - i - 1 < more)
            return false;
        for (size_t k = 1; k <= more; ++k)
            if ((p[i + k] & 0xC0) != 0x80)
                return false;
        i += more + 1;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    (void)kSinkInstalled;
    if (size > 1 << 20)
        return 0;
    // The validator expects a NUL after the text; the copy is exactly that long
    // so that any read beyond it is caught.
    std::vector<char> text(size + 1);
    if (size > 0)
        memcpy(text.data(), data, size);
    text[size] = '\0';
    const int32_t length = static_cast<int32_t>(size);
    const bool whole = JsonValidator::Validate(text.data(), length);
    const bool members = JsonValidator::ValidateMembers(text.data(), length, false);
    JsonValidator::ValidateMembers(text.data(), length, true);
    // A valid document that is an object is also a valid object.
    if (whole && members == false)
    {
        size_t i = 0;
        while (i < size &&
               (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r' || text[i] == '\v'))
            ++i;
        if (i < size && text[i] == '{')
            __builtin_trap();
    }
    // Strict JSON is also what the relaxed reader reads: its root must parse.
    // Only for well-formed UTF-8: the validator's offset decoding lets any
    // byte, a quote included, swallow the continuation bytes after it, which
    // the byte-wise reader does not.
    if (whole && IsWellFormedUtf8(data, size))
    {
        JsonReader reader;
        if (!reader.Parse(text.data(), static_cast<uint32_t>(size)) ||
            !(reader.IsObject() || reader.IsArray()))
            __builtin_trap();
    }
    return 0;
}
