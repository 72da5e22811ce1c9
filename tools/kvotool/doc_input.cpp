#include "doc_input.h"

#include "doc_log.h"
#include "file_io.h"
#include "metadata/metadata_container.h"
#include "metadata/metadata_crypto.h"
#include "metadata/metadata_status.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace kvotool
{
namespace
{
const uint8_t* Bytes(const std::string& s)
{
    return reinterpret_cast<const uint8_t*>(s.data());
}

uint32_t ReadU32(const std::string& s, size_t offset)
{
    const uint8_t* p = Bytes(s) + offset;
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// Says why the recognition placed the bytes nowhere. The rules are the
// recognition's own; this only puts the failed one into words.
std::string WhyUnknown(const std::string& bytes)
{
    if (bytes.empty())
        return "the file is empty";
    if (bytes.size() >= kContainerHeaderSize && bytes.compare(0, 4, "KVOM") == 0)
    {
        uint32_t version = ReadU32(bytes, 4);
        uint32_t length = ReadU32(bytes, 8);
        if (version != kContainerVersion)
            return "container version " + std::to_string(version) + " is not " +
                   std::to_string(kContainerVersion);
        return "the container's length field says " + std::to_string(length) + " bytes but " +
               std::to_string(bytes.size() - kContainerHeaderSize) +
               " follow the header: the file is cut short or damaged";
    }
    if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
        return "the text starts with a UTF-8 byte-order mark; save it without one";
    if (bytes.compare(0, 4, "KVOM") == 0)
        return "the file starts like a container but is shorter than its 80-byte header";
    const size_t n = bytes.size() < 16 ? bytes.size() : 16;
    for (size_t i = 0; i < n; ++i)
    {
        unsigned char c = static_cast<unsigned char>(bytes[i]);
        if (!(c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0x7E)))
        {
            char buf[160];
            std::snprintf(buf, sizeof buf,
                          "byte 0x%02X at offset %zu: the first 16 bytes must be printable ASCII, tab, "
                          "line feed or carriage return (is the file UTF-16, or binary?)",
                          c, i);
            return buf;
        }
    }
    return "an opening brace '{' and a double quote must both occur in the first 16 bytes "
           "(start the file with '{' and the first quoted member name)";
}

// Whether a container's decrypted bytes can be its text. The padding check
// lets about one wrong key in 256 through with garbage; the encoder derives
// the IV from the text, which settles it for containers it made, and for
// others the text must start as a document does: with printable ASCII or
// blanks, as the recognition of plain text demands.
bool DerivedIv(const std::string& container, const std::string& text)
{
    uint8_t iv[kContainerIvSize];
    return Sha256Prefix(Bytes(text), static_cast<uint32_t>(text.size()), iv) &&
           std::memcmp(iv, Bytes(container) + kContainerHeaderSize, kContainerIvSize) == 0;
}

bool DecryptedAsText(const std::string& container, const std::string& text)
{
    if (DerivedIv(container, text))
        return true;
    const size_t n = text.size() < 16 ? text.size() : 16;
    for (size_t i = 0; i < n; ++i)
    {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (!(c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0x7E)))
            return false;
    }
    return true;
}

} // namespace

bool RefuseUnreadableOutput(const char* command, const std::string& out, size_t bytes)
{
    if (bytes <= kMaxMetadataSize)
        return false;
    std::fprintf(stderr,
                 "kvotool %s: %s not written: it would be %zu bytes long; the stub reads at most 8,388,608 "
                 "bytes (TooLarge)\n",
                 command, out == "-" ? "standard output" : ("'" + out + "'").c_str(), bytes);
    return true;
}

bool MakeContainer(const std::string& text, const uint8_t* key, std::string& container, std::string& error)
{
    std::vector<uint8_t> out;
    const uint32_t size = static_cast<uint32_t>(text.size());
    if (text.size() > kMaxMetadataSize ||
        (key ? EncodeContainer(Bytes(text), size, key, out) : EncodeContainer(Bytes(text), size, out)) != 0)
    {
        error = text.size() > kMaxMetadataSize ? "the text is larger than 8,388,608 bytes"
                                               : "encrypting the container failed";
        for (const auto& line : TakeLoggedLines())
            error += "\n  " + line;
        return false;
    }
    container.assign(reinterpret_cast<const char*>(out.data()), out.size());
    return true;
}

InputResult LoadInput(const std::string& path, const uint8_t* key, InputDocument& doc, DiagnosticList& diags,
                      bool payloadText)
{
    doc = InputDocument();
    doc.path = path;
    std::string error;
    if (!ReadWholeFile(path, doc.bytes, error))
    {
        diags.Error(error).rule = "file-read";
        return InputResult::IoError;
    }
    if (doc.bytes.size() > kMaxMetadataSize)
    {
        diags
            .Error("the file is " + std::to_string(doc.bytes.size()) +
                   " bytes long; the stub reads at most 8,388,608 bytes (TooLarge)")
            .rule = "file-size";
        return InputResult::Problems;
    }
    const uint32_t size = static_cast<uint32_t>(doc.bytes.size());
    TakeLoggedLines();
    const MetadataFormat format = DetectMetadataFormat(Bytes(doc.bytes), size);
    if (payloadText && format != MetadataFormat::Container && doc.bytes.compare(0, 4, "KVOM") != 0)
    {
        doc.kind = InputKind::PayloadText;
        doc.text = doc.bytes;
        if (doc.text.empty())
        {
            diags.Error("the file is empty").rule = "file-format";
            return InputResult::Problems;
        }
        if (!MakeContainer(doc.text, nullptr, doc.stubBytes, error))
        {
            diags.Error(error).rule = "container";
            return InputResult::Problems;
        }
        return InputResult::Ok;
    }
    switch (format)
    {
    case MetadataFormat::PlainJson:
        doc.kind = InputKind::PlainJson;
        doc.text = doc.bytes;
        doc.stubBytes = doc.bytes;
        return InputResult::Ok;
    case MetadataFormat::Container:
        doc.kind = InputKind::Container;
        break;
    default:
        diags.Error("not title metadata: " + WhyUnknown(doc.bytes) + " (BadFormat)").rule =
            doc.bytes.compare(0, 4, "KVOM") == 0 ? "container" : "file-format";
        return InputResult::Problems;
    }

    if (size < kMinContainerSize)
    {
        diags
            .Error("the container is " + std::to_string(size) + " bytes long; a readable one has at least " +
                   std::to_string(kMinContainerSize) + " (BadFormat)")
            .rule = "container";
        return InputResult::Problems;
    }
    const uint32_t opened = key ? OpenContainer(Bytes(doc.bytes), size, key, doc.text)
                                : OpenContainer(Bytes(doc.bytes), size, doc.text);
    if (opened != MetadataStatus::Ok)
    {
        diags
            .Error("the container cannot be opened: it is damaged or was packed with another key (BadFormat)")
            .rule = "container";
        doc.log = TakeLoggedLines();
        return InputResult::Problems;
    }
    if (doc.text.empty() || !DecryptedAsText(doc.bytes, doc.text))
    {
        doc.text.clear();
        diags
            .Error(std::string("the container does not decrypt with ") +
                   (key ? "the given key" : "kvotool's built-in key (try --key)") +
                   ": wrong key or damaged data")
            .rule = "container";
        doc.log = TakeLoggedLines();
        return InputResult::Problems;
    }
    doc.foreignIv = !DerivedIv(doc.bytes, doc.text);
    TakeLoggedLines();
    if (!key)
    {
        doc.stubBytes = doc.bytes;
    }
    else if (!MakeContainer(doc.text, nullptr, doc.stubBytes, error))
    {
        diags.Error(error).rule = "container";
        return InputResult::Problems;
    }
    return InputResult::Ok;
}
} // namespace kvotool
