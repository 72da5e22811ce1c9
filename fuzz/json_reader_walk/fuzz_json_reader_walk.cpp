// Parses arbitrary bytes as a document and walks every element once with the
// cheap reads of each. This is the fast companion of fuzz_json_reader, whose
// lookups by name rescan each parent and so make a run quadratic in the
// input: here a run costs about as much as the reader's own scans. No log
// sink is installed, so the reader's messages are not formatted here (the
// thorough target does that).
//
// Besides crashes it checks what every element gives: its value lies within
// the text, its name before its value and readable into a buffer of the raw
// name's size, and unescaping never makes a text longer.
#include "json/json_reader.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{

volatile uint64_t g_Sink; // keeps results observable

void Use(uint64_t v)
{
    g_Sink = g_Sink + v;
}

void ReadValue(const JsonReader& r, std::string& scratch)
{
    if (r.valueOffset < 0 || r.valueLength < 1 ||
        static_cast<uint64_t>(r.valueOffset) + static_cast<uint64_t>(r.valueLength) > r.textLength)
        std::abort();
    if (r.HasName())
    {
        if (r.nameOffset + r.nameLength > r.valueOffset)
            std::abort();
        scratch.resize(static_cast<size_t>(r.nameLength) + 1);
        if (!r.GetName(&scratch[0], static_cast<uint32_t>(scratch.size())))
            std::abort();
    }
    if (r.IsObject() || r.IsArray())
        return;
    // One number read and the text: the other typed reads are the thorough
    // target's, and would double the cost of a run here.
    int64_t i64;
    Use(r.GetInt64(i64));
    // Into a buffer one larger than the raw value: enough for any unescaping,
    // and no allocation per element.
    scratch.resize(static_cast<size_t>(r.valueLength) + 1);
    uint32_t written = 0;
    if (r.GetString(&scratch[0], static_cast<uint32_t>(scratch.size()), written) &&
        written > static_cast<uint32_t>(r.valueLength))
        std::abort();
}

void Walk(const JsonReader& parent, int depth, int& budget, std::string& scratch)
{
    ReadValue(parent, scratch);
    if (depth > 64)
        return;
    // A bare word with a quote in it starts a string for the container scan
    // but not for the walk, so a child can reach, and its siblings start,
    // past their parent's end. What lies there belongs to an outer container
    // and is walked there; following it here would go over the rest of the
    // text once per level.
    const char* parentEnd = parent.text + parent.valueOffset + parent.valueLength;
    JsonReader child;
    for (bool more = parent.FirstChild(child); more && --budget > 0; more = child.NextSibling(child))
    {
        if (child.text + child.valueOffset >= parentEnd)
            break;
        if (child.text + child.valueOffset + child.valueLength > parentEnd)
        {
            ReadValue(child, scratch);
            break;
        }
        Walk(child, depth + 1, budget, scratch);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > (1u << 20))
        return 0;
    // An exact-size copy: reading past the given length is an ASan error.
    std::unique_ptr<char[]> text(new char[size ? size : 1]);
    if (size)
        std::memcpy(text.get(), data, size);
    JsonReader root;
    if (!root.Parse(text.get(), static_cast<uint32_t>(size)))
        return 0;
    std::string scratch;
    int budget = 100000;
    Walk(root, 0, budget, scratch);
    return 0;
}
