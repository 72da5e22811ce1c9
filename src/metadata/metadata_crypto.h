// The small cryptographic layer under the metadata container: AES-256-CBC with
// PKCS #7 padding, SHA-256 and random IVs. Two backends implement it: the
// system's CNG on Windows, libcrypto elsewhere. Failures are logged to the
// stub log and reported as false.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// `input` is the 16-byte IV followed by the ciphertext. On success `text` holds
// the plain bytes. When the final transform fails (wrong key, damaged data)
// it holds as many zero bytes as the ciphertext is long: sized, but never a
// document. On any earlier failure it is left empty.
bool AesCbcDecrypt(const uint8_t* input, uint32_t size, const uint8_t* key, std::string& text);

// Appends the IV and the ciphertext of `size` plain bytes to `output`. With no
// `iv` a random one is drawn.
bool AesCbcEncrypt(const uint8_t* plain, uint32_t size, const uint8_t* key, const uint8_t* iv,
                   std::vector<uint8_t>& output);

// The first 16 bytes of the SHA-256 digest of the input.
bool Sha256Prefix(const uint8_t* data, uint32_t size, uint8_t* prefix);

// The backend's random generator: fills the 16 bytes of an IV.
bool RandomIv(uint8_t* iv);
// The container's framing of one encryption, the same in both backends:
// IVBYTES gets IV, or a random IV when IV is null (false when none could be
// drawn) ...
bool PickIv(const uint8_t* iv, uint8_t* ivBytes);
// ... and OUTPUT gets IVBYTES followed by CIPHERSIZE zero bytes; gives where
// the ciphertext goes.
uint8_t* AppendIvAndRoom(std::vector<uint8_t>& output, const uint8_t* ivBytes, size_t cipherSize);

// Argument checks shared by both backends, logging why a call is refused.
bool IsDecryptInputUsable(const uint8_t* input, uint32_t size, const uint8_t* key);
bool IsEncryptInputUsable(const uint8_t* plain, const uint8_t* key);
// Refuses a missing output or missing data of non-zero size; empty data is
// pointed at a byte of its own so the backends never hash a null pointer.
bool PrepareHashInput(const uint8_t*& data, uint32_t size, const uint8_t* prefix);

// NTSTATUS-style result of one CNG call: negative values are failures.
using CryptoStatus = int32_t;

// True for a success status; otherwise logs any pending system error and
// "Status failed: 0x%08x (%s)", and gives false.
bool CheckStatus(CryptoStatus status);
const char* StatusName(CryptoStatus status);
