// The installer signature check over the same files on both back ends: the
// OpenSSL reader natively, the system's trust provider under Wine. The files
// (make_signed_files.py) lie in the current directory; the expected keys and
// name were written there by the openssl command, not by the code under test.
#include "launch/installer_signature.h"

#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>

#ifdef _WIN32
#include "launch/installer_signature_win.h"
#include "util/text_convert.h"

#include <windows.h>
#endif

namespace
{
using Verdict = InstallerSignature::Verdict;

std::map<std::string, std::string> Expected()
{
    std::map<std::string, std::string> values;
    std::ifstream file("expected.txt");
    std::string line;
    while (std::getline(file, line))
        if (const size_t space = line.find(' '); space != std::string::npos)
            values[line.substr(0, space)] = line.substr(space + 1);
    return values;
}

std::vector<uint8_t> ReadBytes(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

#ifdef _WIN32
std::wstring FullPath(const std::string& name)
{
    wchar_t full[MAX_PATH];
    const DWORD length = GetFullPathNameW(ToWide(name).c_str(), MAX_PATH, full, nullptr);
    return std::wstring(full, length);
}
#endif

#ifdef _WIN32
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

InstallerSignature Read(const std::string& name)
{
    InstallerSignature signature;
#ifdef _WIN32
    FileHandle held;
    const bool open = OpenAndReadInstallerSignature(FullPath(name), signature, held);
    EXPECT_EQ(open, held.Valid()) << name;
#else
    ReadInstallerSignature(name, signature);
#endif
    return signature;
}

class InstallerSignatureTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        expected = Expected();
        ASSERT_EQ(expected["signer"].size(), 64u) << "run make_signed_files.py into the working directory";
        ASSERT_NE(expected["signer"], expected["impostor"]);
    }
    std::map<std::string, std::string> expected;
};

TEST_F(InstallerSignatureTest, VerdictSignerAndKeyOfEachFile)
{
    const std::string name = expected["name"];
    const std::string signer = expected["signer"], impostor = expected["impostor"];
    for (const auto& [file, verdict, status, signerName, key] :
         Rows<const char*, Verdict, uint32_t, std::string, std::string>{
             {"signed.exe", Verdict::Signed, 0, name, signer},
             {"unsigned.exe", Verdict::NotSigned, 0x800B0100, "", ""},
             {"impostor.exe", Verdict::Signed, 0, name, impostor},
             {"tampered.exe", Verdict::ChangedAfterSigning, 0x80096010, "", ""},
             {"resigned.exe", Verdict::Signed, 0, name, signer},
             {"not-a-program.exe", Verdict::NotSigned, 0x800B0003, "", ""},
         })
    {
        const InstallerSignature read = Read(file);
        EXPECT_EQ(read.verdict, verdict) << file;
        EXPECT_EQ(read.status, status) << file;
        EXPECT_EQ(read.signerName, signerName) << file;
        EXPECT_EQ(read.signerKeySha256, key) << file;
    }
    EXPECT_EQ(Read("missing.exe").verdict, Verdict::CouldNotOpen);
    // The control of the link case: the same file through its real folder.
    EXPECT_EQ(Read(std::string("real-folder") + kSeparator + "signed.exe").verdict, Verdict::Signed);
}

TEST_F(InstallerSignatureTest, RefusalReasonUnderAPolicy)
{
    std::string other = expected["impostor"];
    other[0] = other[0] == '0' ? '1' : '0';
    const std::vector<std::string> policy = {other, expected["signer"]};
    for (const auto& [file, reason] : Rows<std::string, std::string>{
             {"signed.exe", ""},
             {"resigned.exe", ""},
             {"unsigned.exe", "not signed"},
             {"impostor.exe", "signed by an unexpected key (" + expected["name"] + ")"},
             {"tampered.exe", "changed after signing"},
             {"missing.exe", "could not be opened"},
             {"linked-folder" + std::string(1, kSeparator) + "signed.exe", "is a link"},
         })
    {
        const InstallerSignature read = Read(file);
        EXPECT_EQ(InstallerRefusalReason(read, policy), reason) << file;
        // Without a policy nothing is refused.
        EXPECT_EQ(InstallerRefusalReason(read, {}), "") << file;
    }
}

TEST_F(InstallerSignatureTest, KeyOfACertificateFileInPemAndDer)
{
    EXPECT_EQ(SignerKeyOfCertificateFile(ReadBytes("signer.pem")), expected["signer"]);
    EXPECT_EQ(SignerKeyOfCertificateFile(ReadBytes("signer.der")), expected["signer"]);
    std::vector<uint8_t> damaged = ReadBytes("signer.der");
    damaged.resize(damaged.size() / 2);
    EXPECT_EQ(SignerKeyOfCertificateFile(damaged), "");
    EXPECT_EQ(SignerKeyOfCertificateFile(ReadBytes("unsigned.exe")), "");
}
} // namespace

TEST(InstallerRefusalReason, EveryVerdictInWords)
{
    const std::vector<std::string> policy = {std::string(64, 'a')};
    for (const auto& [verdict, status, reason] : Rows<Verdict, uint32_t, std::string>{
             {Verdict::NotSigned, 0x800B0100, "not signed"},
             {Verdict::ChangedAfterSigning, 0x80096010, "changed after signing"},
             {Verdict::NotTrusted, 0x800B010A, "signature not trusted (0x800B010A)"},
             {Verdict::CouldNotOpen, 2, "could not be opened"},
             {Verdict::IsLink, 0, "is a link"},
             {Verdict::TrustLibraryMissing, 126, "could not load wintrust.dll"},
         })
    {
        InstallerSignature signature;
        signature.verdict = verdict;
        signature.status = status;
        EXPECT_EQ(InstallerRefusalReason(signature, policy), reason);
    }
    InstallerSignature signedBy;
    signedBy.verdict = Verdict::Signed;
    signedBy.signerName = "Someone";
    signedBy.signerKeySha256 = std::string(64, 'b');
    EXPECT_EQ(InstallerRefusalReason(signedBy, policy), "signed by an unexpected key (Someone)");
    signedBy.signerKeySha256 = policy[0];
    EXPECT_EQ(InstallerRefusalReason(signedBy, policy), "");
}

TEST(ParseSignerKeys, AcceptsOnlyLowercaseHexOf64Digits)
{
    const std::string a(64, 'a'), b = std::string(63, '0') + "f";
    for (const auto& [text, ok, count] : Rows<std::string, bool, size_t>{
             {a, true, 1},
             {a + ";" + b, true, 2},
             {"", false, 0},
             {a + ";", false, 0},
             {std::string(64, 'A'), false, 0},
             {std::string(63, 'a'), false, 0},
             {std::string(65, 'a'), false, 0},
             {std::string(63, 'a') + "g", false, 0},
             {a + "," + b, false, 0},
         })
    {
        std::vector<std::string> keys = {"untouched"};
        EXPECT_EQ(ParseSignerKeys(text, keys), ok) << text;
        EXPECT_EQ(keys.size(), ok ? count : 1u) << text;
    }
}
