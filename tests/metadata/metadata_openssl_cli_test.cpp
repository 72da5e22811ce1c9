// The container's payload is plain AES-256-CBC with PKCS #7 padding: the
// openssl command line, given the same key and IV, must produce and accept it.
#include "metadata/metadata_container.h"
#include "metadata_test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
std::string Hex(const uint8_t* bytes, size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < size; ++i)
        out += std::string(1, digits[bytes[i] >> 4]) + digits[bytes[i] & 15];
    return out;
}

class OpensslCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (std::system("openssl version >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "no openssl command";
        char pattern[] = "/tmp/kvo-md-openssl-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        m_Dir = pattern;
    }
    void TearDown() override
    {
        if (!m_Dir.empty())
            std::system(("rm -rf '" + m_Dir + "'").c_str());
    }
    // openssl enc under `key` from file `in` to file `out` (names inside the temporary folder).
    int Run(const std::string& options, const std::string& in, const std::string& out, const uint8_t* key,
            bool quiet = false)
    {
        return std::system(("openssl enc -aes-256-cbc -K " + Hex(key, 32) + " " + options + " -in " + m_Dir + "/" +
                            in + " -out " + m_Dir + "/" + out + (quiet ? " 2>/dev/null" : ""))
                               .c_str());
    }
    std::string Read(const std::string& name)
    {
        std::ifstream in(m_Dir + "/" + name, std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    }
    void Write(const std::string& name, const std::string& bytes)
    {
        std::ofstream(m_Dir + "/" + name, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    std::string m_Dir;
};
} // namespace

// Under the built-in key and a caller's key: the payload is what the command
// line makes with that key and the same IV, the command line opens it with that
// key only, and what it makes under another IV opens as a container.
TEST_F(OpensslCliTest, SameCiphertextBothWays)
{
    uint8_t ownKey[32];
    for (int i = 0; i < 32; ++i)
        ownKey[i] = static_cast<uint8_t>(0xA5 ^ (i * 29));
    const uint8_t otherIv[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    for (const uint8_t* key : {GetContainerKey(), static_cast<const uint8_t*>(ownKey)})
    {
        for (size_t length : {0u, 5u, 16u, 3000u})
        {
            SCOPED_TRACE(testing::Message() << (key == ownKey ? "own" : "built-in") << " key, " << length << " bytes");
            std::string plain;
            for (size_t i = 0; i < length; ++i)
                plain += static_cast<char>(' ' + (i * 7) % 90);
            const std::vector<uint8_t> container = Sealed(plain, key);
            const std::string iv = "-iv " + Hex(container.data() + kContainerHeaderSize, 16);
            const std::string ours(container.begin() + kContainerHeaderSize + 16, container.end());
            Write("plain", plain);
            ASSERT_EQ(0, Run(iv, "plain", "cipher", key));
            EXPECT_EQ(ours, Read("cipher"));

            Write("cipher", ours);
            ASSERT_EQ(0, Run("-d " + iv, "cipher", "back", key));
            EXPECT_EQ(plain, Read("back"));
            // The built-in key does not give the text back.
            if (key == ownKey && Run("-d " + iv, "cipher", "back", GetContainerKey(), true) == 0)
            {
                EXPECT_NE(plain, Read("back"));
            }
            // What the command line made under an IV of its own opens as a container.
            ASSERT_EQ(0, Run("-iv " + Hex(otherIv, 16), "plain", "cipher", key));
            const std::string cipher = Read("cipher");
            std::vector<uint8_t> theirs = ContainerHeader(1, static_cast<uint32_t>(16 + cipher.size()), kContainerHeaderSize);
            theirs.insert(theirs.end(), otherIv, otherIv + 16);
            theirs.insert(theirs.end(), cipher.begin(), cipher.end());
            ASSERT_EQ(MetadataFormat::Container, DetectMetadataFormat(theirs.data(), static_cast<uint32_t>(theirs.size())));
            std::string opened;
            EXPECT_EQ(0u, OpenContainer(theirs.data(), static_cast<uint32_t>(theirs.size()), key, opened));
            EXPECT_EQ(plain, opened);
        }
    }
}
