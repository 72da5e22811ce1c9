#include "metadata/metadata_container.h"

#include "metadata/metadata_crypto.h"
#include "metadata/metadata_status.h"

#include <array>
#include <cstring>

#if !defined(KVO_CONTAINER_KEY_HEX) && !defined(KVO_CONTAINER_KEY_INCLUDE)
#error                                                                                                       \
    "KVO_CONTAINER_KEY_HEX or KVO_CONTAINER_KEY_INCLUDE must give the 64 hexadecimal digits of the container key"
#endif

namespace
{
constexpr uint32_t kMagic = 0x4D4F564Bu; // "KVOM" read as a little-endian word

constexpr uint8_t HexDigit(char c)
{
    return (c >= '0' && c <= '9')   ? static_cast<uint8_t>(c - '0')
           : (c >= 'a' && c <= 'f') ? static_cast<uint8_t>(c - 'a' + 10)
                                    : static_cast<uint8_t>(c - 'A' + 10);
}

constexpr std::array<uint8_t, kContainerKeySize> DecodeKey(const char (&hex)[2 * kContainerKeySize + 1])
{
    std::array<uint8_t, kContainerKeySize> key{};
    for (uint32_t i = 0; i < kContainerKeySize; ++i)
        key[i] = static_cast<uint8_t>(HexDigit(hex[2 * i]) << 4 | HexDigit(hex[2 * i + 1]));
    return key;
}

// Decoded at compile time; a key of the wrong length does not compile.
#ifdef KVO_CONTAINER_KEY_INCLUDE
// A release reads its key from a private file, so no build file holds it.
constexpr std::array<uint8_t, kContainerKeySize> kContainerKey = DecodeKey(
#include KVO_CONTAINER_KEY_INCLUDE
);
#else
constexpr std::array<uint8_t, kContainerKeySize> kContainerKey = DecodeKey(KVO_CONTAINER_KEY_HEX);
#endif

uint32_t ReadU32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void WriteU32(uint8_t* p, uint32_t value)
{
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
    p[2] = static_cast<uint8_t>(value >> 16);
    p[3] = static_cast<uint8_t>(value >> 24);
}

bool IsTextByte(uint8_t c)
{
    return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0x7E);
}
} // namespace

const uint8_t* GetContainerKey()
{
    return kContainerKey.data();
}

std::string ContainerKeyFingerprint(const uint8_t* key)
{
    static const char kHex[] = "0123456789abcdef";
    std::string text = "KVOM key fingerprint ";
    for (uint32_t i = 0; i < kContainerKeySize; ++i)
    {
        text += kHex[key[i] >> 4];
        text += kHex[key[i] & 15];
    }
    uint8_t digest[16];
    if (!Sha256Prefix(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()),
                      digest))
        return std::string();
    std::string fingerprint;
    for (uint32_t i = 0; i < 8; ++i)
    {
        fingerprint += kHex[digest[i] >> 4];
        fingerprint += kHex[digest[i] & 15];
    }
    return fingerprint;
}

MetadataFormat DetectMetadataFormat(const uint8_t* data, uint32_t size)
{
    if (!data)
        return MetadataFormat::Unknown;
    if (size >= kContainerHeaderSize && ReadU32(data) == kMagic)
    {
        // A container header is never examined as text, even when it is wrong.
        if (ReadU32(data + 4) == kContainerVersion && ReadU32(data + 8) == size - kContainerHeaderSize)
            return MetadataFormat::Container;
        return MetadataFormat::Unknown;
    }
    uint32_t examined = size < 16 ? size : 16;
    bool brace = false;
    bool quote = false;
    for (uint32_t i = 0; i < examined; ++i)
    {
        if (!IsTextByte(data[i]))
            return MetadataFormat::Unknown;
        brace = brace || data[i] == '{';
        quote = quote || data[i] == '"';
    }
    return brace && quote ? MetadataFormat::PlainJson : MetadataFormat::Unknown;
}

uint32_t OpenContainer(const uint8_t* data, uint32_t size, std::string& text)
{
    return OpenContainer(data, size, GetContainerKey(), text);
}

uint32_t OpenContainer(const uint8_t* data, uint32_t size, const uint8_t* key, std::string& text)
{
    if (!data || size < kMinContainerSize)
        return MetadataStatus::BadFormat;
    AesCbcDecrypt(data + kContainerHeaderSize, size - kContainerHeaderSize, key, text);
    return MetadataStatus::Ok;
}

uint32_t EncodeContainer(const uint8_t* plain, uint32_t size, std::vector<uint8_t>& container)
{
    return EncodeContainer(plain, size, GetContainerKey(), container);
}

uint32_t EncodeContainer(const uint8_t* plain, uint32_t size, const uint8_t* key,
                         std::vector<uint8_t>& container)
{
    static const uint8_t kNothing = 0;
    if (!plain)
    {
        if (size != 0)
            return 1;
        plain = &kNothing; // an empty text still makes a container of one padding block
    }
    uint8_t header[kContainerHeaderSize] = {};
    WriteU32(header, kMagic);
    WriteU32(header + 4, kContainerVersion);
    container.assign(kContainerHeaderSize, 0);
    uint8_t iv[kContainerIvSize];
    const uint8_t* ivUsed = Sha256Prefix(plain, size, iv) ? iv : nullptr;
    if (!AesCbcEncrypt(plain, size, key, ivUsed, container))
        return 1;
    WriteU32(header + 8, static_cast<uint32_t>(container.size() - kContainerHeaderSize));
    std::memcpy(container.data(), header, kContainerHeaderSize);
    return 0;
}
