// Recognition of title.kvo content and the encrypted container around its JSON text.
//
// Container layout (little-endian): "KVOM", u32 version 1, u32 payload length
// (file size minus 80), 68 reserved zero bytes, a 16-byte IV, then the text
// encrypted with AES-256-CBC and PKCS #7 padding.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class MetadataFormat : uint32_t
{
    Unknown = 0,
    PlainJson = 1,
    Container = 2,
};

constexpr uint32_t kContainerHeaderSize = 80;
constexpr uint32_t kContainerIvSize = 16;
// Header, IV and one cipher block.
constexpr uint32_t kMinContainerSize = kContainerHeaderSize + kContainerIvSize + 16;
constexpr uint32_t kContainerVersion = 1;
constexpr uint32_t kContainerKeySize = 32;

MetadataFormat DetectMetadataFormat(const uint8_t* data, uint32_t size);

// Decrypts a whole container into `text`. Only a container shorter than one
// cipher block gives BadFormat; a decryption failure shows as an empty or
// unparsable text (logged by the decryption).
uint32_t OpenContainer(const uint8_t* data, uint32_t size, std::string& text);
// The same with a caller's key (kContainerKeySize bytes) in place of the one
// built in. A null key decrypts nothing: the text comes back empty.
uint32_t OpenContainer(const uint8_t* data, uint32_t size, const uint8_t* key, std::string& text);

// Wraps `size` bytes of plain text into a container; 0 on success, 1 when
// encryption failed. The IV is derived from the text, so equal texts give
// equal containers.
uint32_t EncodeContainer(const uint8_t* plain, uint32_t size, std::vector<uint8_t>& container);
// The same with a caller's key (kContainerKeySize bytes) in place of the one
// built in, for containers that a program built with that key opens. A null
// key fails like any other encryption failure.
uint32_t EncodeContainer(const uint8_t* plain, uint32_t size, const uint8_t* key,
                         std::vector<uint8_t>& container);

// The 32 key bytes compiled into the program.
const uint8_t* GetContainerKey();

// 16 lowercase hexadecimal digits naming a 32-byte key without revealing it:
// the first 8 bytes of SHA-256 over "KVOM key fingerprint " and the key's
// lowercase hexadecimal digits. The build writes the same value into the
// stub's version resource ("KeyFingerprint"). Empty when hashing failed.
std::string ContainerKeyFingerprint(const uint8_t* key);
