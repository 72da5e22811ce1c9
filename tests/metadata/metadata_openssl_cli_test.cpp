// The container's payload is plain AES-256-CBC with PKCS #7 padding: the
// openssl command line, given the same key and IV, must produce and accept it.
#include "metadata/metadata_container.h"
#include "metadata/metadata_crypto.h"

#include <gtest/gtest.h>

#include <cstdio>
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
    {
        out += digits[bytes[i] >> 4];
        out += digits[bytes[i] & 15];
    }
    return out;
}

std::vector<uint8_t> ReadAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void WriteAll(const std::string& path, const uint8_t* data, size_t size)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
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
    int Run(const std::string& arguments, const uint8_t* key = GetContainerKey())
    {
        std::string command = "openssl enc -aes-256-cbc -K " + Hex(key, 32) + " " + arguments;
        return std::system(command.c_str());
    }
    std::string m_Dir;
};
} // namespace

TEST_F(OpensslCliTest, SameCiphertextBothWays)
{
    for (size_t length : {0u, 5u, 16u, 3000u})
    {
        std::string plain;
        for (size_t i = 0; i < length; ++i)
            plain += static_cast<char>(' ' + (i * 7) % 90);
        std::vector<uint8_t> container;
        ASSERT_EQ(0u, EncodeContainer(reinterpret_cast<const uint8_t*>(plain.data()),
                                      static_cast<uint32_t>(plain.size()), container));
        std::string iv = Hex(container.data() + kContainerHeaderSize, 16);
        std::string plainPath = m_Dir + "/plain";
        std::string cipherPath = m_Dir + "/cipher";
        std::string backPath = m_Dir + "/back";
        WriteAll(plainPath, reinterpret_cast<const uint8_t*>(plain.data()), plain.size());

        ASSERT_EQ(0, Run("-iv " + iv + " -in " + plainPath + " -out " + cipherPath));
        std::vector<uint8_t> ours(container.begin() + kContainerHeaderSize + 16, container.end());
        EXPECT_EQ(ours, ReadAll(cipherPath)) << length;

        WriteAll(cipherPath, ours.data(), ours.size());
        ASSERT_EQ(0, Run("-d -iv " + iv + " -in " + cipherPath + " -out " + backPath));
        std::vector<uint8_t> back = ReadAll(backPath);
        EXPECT_EQ(plain, std::string(back.begin(), back.end())) << length;
    }
}

TEST_F(OpensslCliTest, OpensWhatTheCommandLineEncrypted)
{
    const std::string plain = "{\"titleId\": \"from the command line\"}";
    std::string plainPath = m_Dir + "/plain";
    std::string cipherPath = m_Dir + "/cipher";
    WriteAll(plainPath, reinterpret_cast<const uint8_t*>(plain.data()), plain.size());
    const uint8_t iv[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    ASSERT_EQ(0, Run("-iv " + Hex(iv, 16) + " -in " + plainPath + " -out " + cipherPath));
    std::vector<uint8_t> cipher = ReadAll(cipherPath);

    std::vector<uint8_t> container(kContainerHeaderSize, 0);
    container[0] = 'K';
    container[1] = 'V';
    container[2] = 'O';
    container[3] = 'M';
    container[4] = 1;
    uint32_t length = static_cast<uint32_t>(16 + cipher.size());
    for (int i = 0; i < 4; ++i)
        container[8 + i] = static_cast<uint8_t>(length >> (8 * i));
    container.insert(container.end(), iv, iv + 16);
    container.insert(container.end(), cipher.begin(), cipher.end());

    ASSERT_EQ(MetadataFormat::Container,
              DetectMetadataFormat(container.data(), static_cast<uint32_t>(container.size())));
    std::string text;
    EXPECT_EQ(0u, OpenContainer(container.data(), static_cast<uint32_t>(container.size()), text));
    EXPECT_EQ(plain, text);
}

// With a caller's key the payload is what the command line makes with that
// key and the same IV, and the command line opens it with that key only.
TEST_F(OpensslCliTest, CallersKeyGivesTheCommandLinesCiphertext)
{
    uint8_t key[32];
    for (int i = 0; i < 32; ++i)
        key[i] = static_cast<uint8_t>(0xA5 ^ (i * 29));
    const std::string plain = "{\"titleId\": \"sealed with a key of our own\"}";
    std::vector<uint8_t> container;
    ASSERT_EQ(0u, EncodeContainer(reinterpret_cast<const uint8_t*>(plain.data()), static_cast<uint32_t>(plain.size()),
                                  key, container));
    const std::string iv = Hex(container.data() + kContainerHeaderSize, 16);
    const std::string plainPath = m_Dir + "/plain";
    const std::string cipherPath = m_Dir + "/cipher";
    const std::string backPath = m_Dir + "/back";
    WriteAll(plainPath, reinterpret_cast<const uint8_t*>(plain.data()), plain.size());
    ASSERT_EQ(0, Run("-iv " + iv + " -in " + plainPath + " -out " + cipherPath, key));
    const std::vector<uint8_t> ours(container.begin() + kContainerHeaderSize + 16, container.end());
    EXPECT_EQ(ours, ReadAll(cipherPath));

    WriteAll(cipherPath, ours.data(), ours.size());
    ASSERT_EQ(0, Run("-d -iv " + iv + " -in " + cipherPath + " -out " + backPath, key));
    const std::vector<uint8_t> back = ReadAll(backPath);
    EXPECT_EQ(plain, std::string(back.begin(), back.end()));
    // The built-in key does not give the text back.
    if (Run("-d -iv " + iv + " -in " + cipherPath + " -out " + backPath + " 2>/dev/null") == 0)
    {
        const std::vector<uint8_t> garbage = ReadAll(backPath);
        EXPECT_NE(plain, std::string(garbage.begin(), garbage.end()));
    }
}
