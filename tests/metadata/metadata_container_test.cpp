// Recognition of metadata bytes, the container in both directions, and the
// cross-check of containers made by the other cryptography backend.
#include "metadata/metadata_container.h"
#include "metadata/metadata_crypto.h"
#include "metadata/metadata_status.h"
#include "metadata_test_support.h"
#include "support/capture_sink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

namespace
{
std::vector<uint8_t> Bytes(const std::string& text)
{
    return std::vector<uint8_t>(text.begin(), text.end());
}

MetadataFormat Detect(const std::vector<uint8_t>& bytes)
{
    return DetectMetadataFormat(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

uint32_t Open(const std::vector<uint8_t>& bytes, const uint8_t* key, std::string& text)
{
    return OpenContainer(bytes.data(), static_cast<uint32_t>(bytes.size()), key, text);
}

// A key of the caller's, not the one built in; the committed own_key fixture
// was made with it.
const uint8_t kOwnKey[32] = {0x0f, 0x1e, 0x2d, 0x3c, 0x4b, 0x5a, 0x69, 0x78, 0x87, 0x96, 0xa5,
                             0xb4, 0xc3, 0xd2, 0xe1, 0xf0, 0x01, 0x12, 0x23, 0x34, 0x45, 0x56,
                             0x67, 0x78, 0x89, 0x9a, 0xab, 0xbc, 0xcd, 0xde, 0xef, 0xf0};

std::vector<uint8_t> ReadFixture(const std::string& name)
{
    std::ifstream in(std::string(KVO_METADATA_TEST_DATA) + "/" + name, std::ios::binary);
    EXPECT_TRUE(in.good()) << name;
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
} // namespace

TEST(MetadataFormatTest, RecognisesPlainTextAndContainerHeaders)
{
    const std::tuple<const char*, std::vector<uint8_t>, MetadataFormat> cases[] = {
        {"plain object", Bytes("{\"a\":1}"), MetadataFormat::PlainJson},
        {"tab, CR and LF before the brace", Bytes("\t\r\n {\"a\":1}"), MetadataFormat::PlainJson},
        {"quote only after the first 16 bytes", Bytes("{               \"a\":1}"), MetadataFormat::Unknown},
        {"brace without quote", Bytes("{}"), MetadataFormat::Unknown},
        {"quote without brace", Bytes("\"a\""), MetadataFormat::Unknown},
        {"byte-order mark", Bytes("\xEF\xBB\xBF{\"titleId\":1}"), MetadataFormat::Unknown},
        {"control byte in the first 16", Bytes("{\"a\":\x01}"), MetadataFormat::Unknown},
        {"high byte after the first 16", Bytes("{\"abcdefghijklmn\xff\":1}"), MetadataFormat::PlainJson},
        {"empty", {}, MetadataFormat::Unknown},
        {"container", ContainerHeader(1, 32, 112), MetadataFormat::Container},
        {"container header alone", ContainerHeader(1, 0, 80), MetadataFormat::Container},
        {"container version 2", ContainerHeader(2, 32, 112), MetadataFormat::Unknown},
        {"container length one too many", ContainerHeader(1, 33, 112), MetadataFormat::Unknown},
        {"container length one too few", ContainerHeader(1, 31, 112), MetadataFormat::Unknown},
        {"79 bytes starting KVOM", ContainerHeader(1, 0, 79), MetadataFormat::Unknown},
    };
    for (const auto& [what, bytes, expected] : cases)
        EXPECT_EQ(expected, Detect(bytes)) << what;
    EXPECT_EQ(MetadataFormat::Unknown, DetectMetadataFormat(nullptr, 10));
}

// Under the built-in key, a caller's key and that key with one bit flipped:
// the same header and IV, derived from the text alone, and a ciphertext only
// the same key opens.
TEST(MetadataContainerTest, RoundTripsUnderAnyKeyAndOnlyThatKeyOpens)
{
    uint8_t ownKeyFlipped[32];
    std::memcpy(ownKeyFlipped, kOwnKey, 32);
    ownKeyFlipped[0] ^= 0x80;
    const std::pair<const char*, const uint8_t*> keys[] = {
        {"built-in", GetContainerKey()}, {"own", kOwnKey}, {"own with one bit flipped", ownKeyFlipped}};
    ASSERT_NE(0, std::memcmp(kOwnKey, GetContainerKey(), 32));

    ScopedLogCapture capture; // wrong-key attempts log their failures
    for (size_t length : {0u, 1u, 15u, 16u, 17u, 1000u})
    {
        std::string text(length, 'x');
        for (size_t i = 0; i < length; ++i)
            text[i] = static_cast<char>('a' + (i * 7) % 26);
        std::vector<std::vector<uint8_t>> made;
        for (const auto& [name, key] : keys)
        {
            SCOPED_TRACE(testing::Message() << name << " key, " << length << " bytes");
            std::vector<uint8_t> container = Sealed(text, key);
            const size_t cipherLength = (length / 16 + 1) * 16;
            ASSERT_EQ(kContainerHeaderSize + 16 + cipherLength, container.size());
            EXPECT_EQ(ContainerHeader(1, static_cast<uint32_t>(16 + cipherLength), kContainerHeaderSize),
                      std::vector<uint8_t>(container.begin(), container.begin() + kContainerHeaderSize));
            EXPECT_EQ(MetadataFormat::Container, Detect(container));
            // The IV is the digest prefix of the text, so a second encoding is identical.
            uint8_t iv[16];
            ASSERT_TRUE(Sha256Prefix(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(length), iv));
            EXPECT_EQ(0, std::memcmp(iv, container.data() + 80, 16));
            EXPECT_EQ(container, Sealed(text, key));
            std::string opened = "stale";
            EXPECT_EQ(MetadataStatus::Ok, Open(container, key, opened));
            EXPECT_EQ(text, opened);
            // Not for the empty text: a wrong key yields an empty text, which would pass for it.
            for (const auto& [otherName, otherKey] : keys)
            {
                if (otherKey == key || length == 0)
                    continue;
                opened.clear();
                EXPECT_EQ(MetadataStatus::Ok, Open(container, otherKey, opened));
                EXPECT_NE(text, opened) << "opened with the " << otherName << " key";
            }
            made.push_back(container);
        }
        // The forms without a key are those with the built-in key.
        std::vector<uint8_t> keyless;
        EXPECT_EQ(0u, EncodeContainer(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(length),
                                      keyless));
        EXPECT_EQ(made[0], keyless);
        std::string opened = "stale";
        EXPECT_EQ(MetadataStatus::Ok, OpenContainer(made[0].data(), static_cast<uint32_t>(made[0].size()), opened));
        EXPECT_EQ(text, opened);
        EXPECT_EQ(MetadataStatus::Ok, OpenContainer(made[1].data(), static_cast<uint32_t>(made[1].size()), opened));
        EXPECT_TRUE(length == 0 || text != opened);
    }
}

TEST(MetadataContainerTest, RefusesMissingKeyOrInput)
{
    ScopedLogCapture capture;
    std::vector<uint8_t> out;
    EXPECT_EQ(1u, EncodeContainer(reinterpret_cast<const uint8_t*>("{\"a\":1}"), 7, nullptr, out));
    EXPECT_TRUE(capture.Contains("Invalid buffer passed in."));
    std::vector<uint8_t> cipher;
    EXPECT_FALSE(AesCbcEncrypt(reinterpret_cast<const uint8_t*>("abcd"), 4, nullptr, nullptr, cipher));
    EXPECT_TRUE(cipher.empty());

    // A null key decrypts nothing; too short is refused before any key is looked at.
    capture.lines.clear();
    std::string text = "stale";
    EXPECT_EQ(MetadataStatus::Ok, Open(Sealed("{\"titleId\": \"T1\"}"), nullptr, text));
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(capture.Contains("Invalid buffer passed in."));
    EXPECT_EQ(MetadataStatus::BadFormat, Open(std::vector<uint8_t>(kMinContainerSize - 1, 0), kOwnKey, text));

    capture.lines.clear();
    text = "stale";
    EXPECT_FALSE(AesCbcDecrypt(nullptr, 64, GetContainerKey(), text));
    EXPECT_TRUE(capture.Contains("Invalid buffer passed in."));
    EXPECT_TRUE(text.empty());
    const uint8_t block[31] = {};
    text = "stale";
    EXPECT_FALSE(AesCbcDecrypt(block, 31, GetContainerKey(), text));
    EXPECT_TRUE(capture.Contains("Input buffer too small."));
    EXPECT_TRUE(text.empty());
}

TEST(MetadataContainerTest, DigestPrefixMatchesKnownValue)
{
    // First half of the SHA-256 digest of "abc".
    const uint8_t expected[16] = {0xba, 0x78, 0x16, 0xbf, 0x8f, 0x01, 0xcf, 0xea,
                                  0x41, 0x41, 0x40, 0xde, 0x5d, 0xae, 0x22, 0x23};
    uint8_t prefix[16] = {};
    ASSERT_TRUE(Sha256Prefix(reinterpret_cast<const uint8_t*>("abc"), 3, prefix));
    EXPECT_EQ(0, std::memcmp(expected, prefix, 16));
}

TEST(MetadataContainerTest, RandomIvWhenNoneGiven)
{
    std::vector<uint8_t> first;
    std::vector<uint8_t> second;
    const uint8_t plain[5] = {'h', 'e', 'l', 'l', 'o'};
    ASSERT_TRUE(AesCbcEncrypt(plain, 5, GetContainerKey(), nullptr, first));
    ASSERT_TRUE(AesCbcEncrypt(plain, 5, GetContainerKey(), nullptr, second));
    ASSERT_EQ(32u, first.size());
    EXPECT_NE(first, second);
    std::string text;
    ASSERT_TRUE(AesCbcDecrypt(second.data(), 32, GetContainerKey(), text));
    EXPECT_EQ("hello", text);
}

TEST(MetadataContainerTest, TruncatedOrDamagedCiphertext)
{
    ScopedLogCapture capture;
    const std::string plain(200, 'q');
    const std::vector<uint8_t> container = Sealed(plain);
    const std::vector<uint8_t> payload(container.begin() + kContainerHeaderSize, container.end());
    const uint32_t size = static_cast<uint32_t>(payload.size());

    // A ciphertext that is not a whole number of blocks cannot be decrypted.
    std::string text = "stale";
    EXPECT_FALSE(AesCbcDecrypt(payload.data(), size - 5, GetContainerKey(), text));
    EXPECT_TRUE(text.empty());
    EXPECT_FALSE(capture.lines.empty());

    // Flipping a bit of the last block's predecessor changes the padding byte.
    std::vector<uint8_t> damaged = payload;
    damaged[size - 17] ^= 0x80;
    capture.lines.clear();
    EXPECT_FALSE(AesCbcDecrypt(damaged.data(), size, GetContainerKey(), text));
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(capture.Contains("Failed to finish transform."));

    // Damage in an earlier block keeps the padding: the text comes back changed.
    damaged = payload;
    damaged[20] ^= 0x01;
    EXPECT_TRUE(AesCbcDecrypt(damaged.data(), size, GetContainerKey(), text));
    EXPECT_EQ(plain.size(), text.size());
    EXPECT_NE(plain, text);
}

TEST(MetadataCryptoTest, StatusNamesAndCheck)
{
    const std::pair<uint32_t, const char*> names[] = {
        {0xC0000023u, "STATUS_BUFFER_TOO_SMALL"},  {0xC0000206u, "STATUS_INVALID_BUFFER_SIZE"},
        {0xC0000008u, "STATUS_INVALID_HANDLE"},    {0xC000000Du, "STATUS_INVALID_PARAMETER"},
        {0xC0000017u, "STATUS_NO_MEMORY"},         {0xC0000225u, "STATUS_NOT_FOUND"},
        {0xC00000BBu, "STATUS_NOT_SUPPORTED"},     {0xC0000001u, "<unknown>"},
    };
    for (const auto& name : names)
        EXPECT_STREQ(name.second, StatusName(static_cast<CryptoStatus>(name.first)));

    ScopedLogCapture capture;
    EXPECT_TRUE(CheckStatus(0));
    EXPECT_TRUE(CheckStatus(0x103));
    EXPECT_TRUE(capture.lines.empty());
    EXPECT_FALSE(CheckStatus(static_cast<CryptoStatus>(0xC000000Du)));
    EXPECT_TRUE(capture.Contains("Status failed: 0xc000000d (STATUS_INVALID_PARAMETER)"));
}

// The containers committed beside the test: made_native and made_windows by
// the native and the Windows build under the default key, own_key by the
// native build under kOwnKey. Each build must open them all and make them
// again byte for byte, whatever key it holds.
TEST(MetadataContainerTest, OpensAndReproducesContainersOfBothBackends)
{
    const uint8_t defaultKey[32] = {0x41, 0x64, 0xb3, 0xe3, 0x9c, 0x8d, 0x75, 0xa2, 0xf1, 0x90, 0x1a,
                                    0x3f, 0x92, 0x3e, 0x6a, 0xab, 0xd8, 0x9a, 0x37, 0x56, 0xe2, 0x07,
                                    0x86, 0xd9, 0xb9, 0xdd, 0xca, 0x31, 0xff, 0x6e, 0xe6, 0xd4};
    const std::pair<std::string, const uint8_t*> fixtures[] = {
        {"made_native", defaultKey}, {"made_windows", defaultKey}, {"own_key", kOwnKey}};
    for (const auto& [name, key] : fixtures)
    {
        SCOPED_TRACE(name);
        const std::vector<uint8_t> plainBytes = ReadFixture(name + ".json");
        const std::vector<uint8_t> fixture = ReadFixture(name + ".kvo");
        ASSERT_FALSE(plainBytes.empty());
        ASSERT_EQ(MetadataFormat::Container, Detect(fixture));
        const std::string plain(plainBytes.begin(), plainBytes.end());
        std::string opened;
        EXPECT_EQ(MetadataStatus::Ok, Open(fixture, key, opened));
        EXPECT_EQ(plain, opened);
        EXPECT_EQ(fixture, Sealed(plain, key));
    }
}
