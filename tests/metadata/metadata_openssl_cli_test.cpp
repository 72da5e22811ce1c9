// The container's payload is plain AES-256-CBC with PKCS #7 padding, as the openssl command line makes it.
#include "metadata/metadata_container.h"
#include "metadata_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace
{
std::string Hex(const uint8_t* bytes, size_t size)
{
    std::string out;
    char two[3];
    for (size_t i = 0; i < size; ++i)
        out += (std::snprintf(two, sizeof two, "%02x", bytes[i]), two);
    return out;
}
} // namespace

// Under the built-in key and a caller's key: the command line makes the same payload and opens it.
TEST(OpensslCliTest, SameCiphertextBothWays)
{
    if (std::system("openssl version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "no openssl command";
    char pattern[] = "/tmp/kvo-md-openssl-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    const std::string dir = pattern;
    // openssl enc under `key` from file `in` to file `out` inside the temporary folder.
    auto run = [&](const std::string& options, const char* in, const char* out, const uint8_t* key)
    {
        return std::system(("openssl enc -aes-256-cbc -K " + Hex(key, 32) + " " + options + " -in " + dir +
                            "/" + in + " -out " + dir + "/" + out)
                               .c_str());
    };
    uint8_t ownKey[32];
    for (int i = 0; i < 32; ++i)
        ownKey[i] = static_cast<uint8_t>(0xA5 ^ (i * 29));
    for (const uint8_t* key : {GetContainerKey(), static_cast<const uint8_t*>(ownKey)})
    {
        for (size_t length : {0u, 5u, 16u, 3000u})
        {
            SCOPED_TRACE(testing::Message()
                         << (key == ownKey ? "own" : "built-in") << " key, " << length << " bytes");
            std::string plain;
            for (size_t i = 0; i < length; ++i)
                plain += static_cast<char>(' ' + (i * 7) % 90);
            const std::vector<uint8_t> container = Sealed(plain, key);
            const std::string iv = "-iv " + Hex(container.data() + kContainerHeaderSize, 16);
            const std::string ours(container.begin() + kContainerHeaderSize + 16, container.end());
            WriteFile(dir + "/plain", plain);
            ASSERT_EQ(0, run(iv, "plain", "cipher", key));
            EXPECT_EQ(ours, ReadFile(dir + "/cipher"));

            WriteFile(dir + "/cipher", ours);
            ASSERT_EQ(0, run("-d " + iv, "cipher", "back", key));
            EXPECT_EQ(plain, ReadFile(dir + "/back"));
        }
    }
    std::system(("rm -rf '" + dir + "'").c_str());
}
