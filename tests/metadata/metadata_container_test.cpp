// Recognition of metadata bytes, the container both ways, and containers made by either backend.
#include "metadata/metadata_container.h"
#include "metadata/metadata_crypto.h"
#include "metadata/metadata_status.h"
#include "metadata_test_support.h"
#include "support/capture_sink.h"

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

// A key of the caller's, not the one built in; the committed own_key fixture was made with it.
const uint8_t kOwnKey[32] = {0x0f, 0x1e, 0x2d, 0x3c, 0x4b, 0x5a, 0x69, 0x78, 0x87, 0x96, 0xa5,
                             0xb4, 0xc3, 0xd2, 0xe1, 0xf0, 0x01, 0x12, 0x23, 0x34, 0x45, 0x56,
                             0x67, 0x78, 0x89, 0x9a, 0xab, 0xbc, 0xcd, 0xde, 0xef, 0xf0};
} // namespace

TEST(MetadataFormatTest, RecognisesPlainTextAndContainerHeaders)
{
    const std::tuple<const char*, std::vector<uint8_t>, MetadataFormat> cases[] = {
        {"tab, CR and LF before the brace", Bytes("\t\r\n {\"a\":1}"), MetadataFormat::PlainJson},
        {"quote only after the first 16 bytes", Bytes("{               \"a\":1}"), MetadataFormat::Unknown},
        {"byte-order mark", Bytes("\xEF\xBB\xBF{\"titleId\":1}"), MetadataFormat::Unknown},
        {"control byte in the first 16", Bytes("{\"a\":\x01}"), MetadataFormat::Unknown},
        {"high byte after the first 16", Bytes("{\"abcdefghijklmn\xff\":1}"), MetadataFormat::PlainJson},
        {"empty", {}, MetadataFormat::Unknown},
        {"container header alone", ContainerHeader(1, 0, 80), MetadataFormat::Container},
        {"container version 2", ContainerHeader(2, 32, 112), MetadataFormat::Unknown},
        {"container length one too many", ContainerHeader(1, 33, 112), MetadataFormat::Unknown},
        {"79 bytes starting KVOM", ContainerHeader(1, 0, 79), MetadataFormat::Unknown},
    };
    for (const auto& [what, bytes, expected] : cases)
        EXPECT_EQ(expected, Detect(bytes)) << what;
    EXPECT_EQ(MetadataFormat::Unknown, DetectMetadataFormat(nullptr, 10));
}

// The forms without a key are those with the built-in key; the padding always adds bytes.
TEST(MetadataContainerTest, RoundTripsWithoutAKeyUnderTheBuiltInOne)
{
    for (const std::string& text : {std::string(), std::string(16, 'a'), std::string(1000, 'b')})
    {
        std::vector<uint8_t> keyless;
        EXPECT_EQ(0u, EncodeContainer(reinterpret_cast<const uint8_t*>(text.data()),
                                      static_cast<uint32_t>(text.size()), keyless));
        EXPECT_EQ(Sealed(text), keyless);
        EXPECT_EQ(kContainerHeaderSize + 16 + (text.size() / 16 + 1) * 16, keyless.size());
        std::string opened = "stale";
        EXPECT_EQ(MetadataStatus::Ok,
                  OpenContainer(keyless.data(), static_cast<uint32_t>(keyless.size()), opened));
        EXPECT_EQ(text, opened);
    }
}

TEST(MetadataContainerTest, RefusesMissingKeyOrInput)
{
    ScopedLogCapture capture;
    std::vector<uint8_t> out;
    EXPECT_EQ(1u, EncodeContainer(reinterpret_cast<const uint8_t*>("{\"a\":1}"), 7, nullptr, out));
    // A null key decrypts nothing; too short is refused before any key is looked at.
    std::string text = "stale";
    EXPECT_EQ(MetadataStatus::Ok, Open(Sealed("{\"titleId\": \"T1\"}"), nullptr, text));
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(2, std::count(capture.lines.begin(), capture.lines.end(), "Invalid buffer passed in."));
    EXPECT_EQ(MetadataStatus::BadFormat, Open(std::vector<uint8_t>(kMinContainerSize - 1, 0), kOwnKey, text));
    const uint8_t block[31] = {};
    text = "stale";
    EXPECT_FALSE(AesCbcDecrypt(block, 31, GetContainerKey(), text));
    EXPECT_TRUE(capture.Contains("Input buffer too small."));
    EXPECT_TRUE(text.empty());
}

// Both backends fail alike: a length that is not whole blocks before any output, a bad final block after
// sizing the text, which is then left as zero bytes that never parse.
TEST(MetadataContainerTest, TruncatedOrDamagedCiphertext)
{
    const std::string plain(200, 'q');
    const std::vector<uint8_t> container = Sealed(plain);
    const std::vector<uint8_t> payload(container.begin() + kContainerHeaderSize, container.end());
    const uint32_t size = static_cast<uint32_t>(payload.size());
    auto flipped = [&](uint32_t at, uint8_t bits)
    {
        std::vector<uint8_t> bytes = payload;
        bytes[at] ^= bits;
        return bytes;
    };
    const std::vector<std::string> sizeFailure = {"Status failed: 0xc0000206 (STATUS_INVALID_BUFFER_SIZE)",
                                                  "Size would be zero."};
    const std::tuple<const char*, std::vector<uint8_t>, uint32_t, const uint8_t*, bool, std::string> cases[] =
        {
            {"not a whole number of blocks", payload, size - 5, GetContainerKey(), false, ""},
            {"one byte short of a block", payload, size - 1, GetContainerKey(), false, ""},
            {"padding byte changed", flipped(size - 17, 0x80), size, GetContainerKey(), false,
             std::string(208, '\0')},
            {"flipped byte in the last block", flipped(size - 1, 0x01), size, GetContainerKey(), false,
             std::string(208, '\0')},
            {"cut by one block", payload, size - 16, GetContainerKey(), false, std::string(192, '\0')},
            {"wrong key", payload, size, kOwnKey, false, std::string(208, '\0')},
            {"damage in an earlier block keeps the padding", flipped(20, 0x01), size, GetContainerKey(), true,
             ""},
        };
    for (const auto& [what, bytes, length, key, decrypts, failedText] : cases)
    {
        SCOPED_TRACE(what);
        ScopedLogCapture capture;
        std::string text = "stale";
        EXPECT_EQ(decrypts, AesCbcDecrypt(bytes.data(), length, key, text));
        if (decrypts)
        {
            EXPECT_EQ(plain.size(), text.size());
            EXPECT_NE(plain, text);
            EXPECT_TRUE(capture.lines.empty());
        }
        else if (failedText.empty())
        {
            EXPECT_TRUE(text.empty());
            EXPECT_EQ(sizeFailure, capture.lines);
        }
        else
        {
            EXPECT_EQ(failedText, text);
            ASSERT_FALSE(capture.lines.empty());
            EXPECT_EQ("Failed to finish transform.", capture.lines.back());
        }
    }
}

// Containers committed beside the test, made by the native and the Windows build (own_key: under kOwnKey):
// each build opens and remakes them byte for byte under their key, and no other key, not even one bit off,
// opens them.
TEST(MetadataContainerTest, OpensAndReproducesContainersOfBothBackends)
{
    const uint8_t defaultKey[32] = {0x41, 0x64, 0xb3, 0xe3, 0x9c, 0x8d, 0x75, 0xa2, 0xf1, 0x90, 0x1a,
                                    0x3f, 0x92, 0x3e, 0x6a, 0xab, 0xd8, 0x9a, 0x37, 0x56, 0xe2, 0x07,
                                    0x86, 0xd9, 0xb9, 0xdd, 0xca, 0x31, 0xff, 0x6e, 0xe6, 0xd4};
    uint8_t ownKeyFlipped[32];
    std::memcpy(ownKeyFlipped, kOwnKey, 32);
    ownKeyFlipped[0] ^= 0x80;
    const std::pair<std::string, const uint8_t*> fixtures[] = {
        {"made_native", defaultKey}, {"made_windows", defaultKey}, {"own_key", kOwnKey}};
    ScopedLogCapture capture; // wrong-key attempts log their failures
    for (const auto& [name, key] : fixtures)
    {
        SCOPED_TRACE(name);
        const std::string plain = ReadFile(KVO_METADATA_TEST_DATA "/" + name + ".json");
        const std::vector<uint8_t> fixture = Bytes(ReadFile(KVO_METADATA_TEST_DATA "/" + name + ".kvo"));
        ASSERT_FALSE(plain.empty());
        ASSERT_EQ(MetadataFormat::Container, Detect(fixture));
        std::string opened;
        EXPECT_EQ(MetadataStatus::Ok, Open(fixture, key, opened));
        EXPECT_EQ(plain, opened);
        EXPECT_EQ(fixture, Sealed(plain, key));
        for (const uint8_t* other :
             {static_cast<const uint8_t*>(defaultKey), kOwnKey, static_cast<const uint8_t*>(ownKeyFlipped)})
        {
            if (other == key)
                continue;
            opened.clear();
            EXPECT_EQ(MetadataStatus::Ok, Open(fixture, other, opened));
            EXPECT_NE(plain, opened);
        }
    }
}
