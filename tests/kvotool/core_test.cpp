// The tool's own helpers: suggestions, argument parsing, positions, atomic
// output, the version resource reader and the stub's search places.
#include "cli.h"
#include "diagnostics.h"
#include "file_io.h"
#include "game_folder.h"
#include "help.h"
#include "pe_version.h"
#include "suggest.h"

#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>

using namespace kvotool;

namespace
{
const std::vector<std::string> kPlatforms = {"default", "steam", "viveport", "oculus", "disk", "epic"};
const std::vector<std::string> kKeys = {"titleId",     "friendlyName", "altFriendlyName", "gamePlatform",
                                        "steamAppIds", "modAllowList", "modWhitelist",    "cloudSaveRoot"};
const std::vector<std::string> kDocs = {"doc", "docs"};

TEST(Suggest, EditDistanceCountsCaseFreeEditsAndTranspositions)
{
    for (auto [a, b, distance] : Rows<const char*, const char*, size_t>{{"steam", "steam", 0},
                                                                        {"Steam", "steam", 0},
                                                                        {"stema", "steam", 1},
                                                                        {"stam", "steam", 1},
                                                                        {"steamm", "steam", 1},
                                                                        {"", "epic", 4},
                                                                        {"abc", "", 3},
                                                                        {"kitten", "sitting", 3}})
        EXPECT_EQ(EditDistance(a, b), distance) << a << " / " << b;
}

TEST(Suggest, ClosestMatchFindsPlausibleIntentOnly)
{
    for (auto [word, candidates, expected] : Rows<const char*, const std::vector<std::string>*, const char*>{
             {"Steam", &kPlatforms, "steam"},
             {"vivport", &kPlatforms, "viveport"},
             {"titleID", &kKeys, "titleId"},
             {"gamePlatfrom", &kKeys, "gamePlatform"},
             {"xbox", &kPlatforms, ""},
             {"comment", &kKeys, ""},
             {"steam", &kPlatforms, ""}, // an exact keyword needs no suggestion
             {"Docs", &kDocs, "docs"}})  // a case-only difference wins over one edit
        EXPECT_EQ(ClosestMatch(word, *candidates), expected) << word;
}

using Args = std::vector<std::string>;
const std::vector<OptionDef> kDefs = {{"output", 'o', true}, {"force", 0, false}, {"verbose", 'v', false}};

TEST(Arguments, LongShortInlineAndPositionalForms)
{
    // (arguments, output, times verbose, positionals)
    for (auto [args, output, verbose, positionals] :
         Rows<Args, std::string, int, Args>{{{"a.json", "-o", "b.kvo"}, "b.kvo", 0, {"a.json"}},
                                            {{"--output=b.kvo", "a.json"}, "b.kvo", 0, {"a.json"}},
                                            {{"-ob.kvo", "-v", "-v", "a"}, "b.kvo", 2, {"a"}},
                                            {{"--", "-o", "-"}, "", 0, {"-o", "-"}},
                                            {{"-", "--output", "-"}, "-", 0, {"-"}}})
    {
        ParsedArguments parsed;
        std::string error;
        ASSERT_TRUE(ParseArguments(args, 0, kDefs, parsed, error)) << error;
        EXPECT_EQ(parsed.Value("output"), output);
        EXPECT_EQ(parsed.flags.count("verbose") ? parsed.flags.at("verbose") : 0, verbose);
        EXPECT_EQ(parsed.positionals, positionals);
    }
}

TEST(Arguments, ErrorsNameTheOptionAndSuggest)
{
    for (auto [args, expected] :
         Rows<Args, const char*>{{{"--forse"}, "unknown option '--forse'; did you mean '--force'?"},
                                 {{"--zzz"}, "unknown option '--zzz'"},
                                 {{"-o"}, "option '--output' needs a value"},
                                 {{"--force=yes"}, "option '--force' takes no value"},
                                 {{"-o", "a", "-o", "b"}, "option '--output' given twice"}})
    {
        ParsedArguments parsed;
        std::string error;
        EXPECT_FALSE(ParseArguments(args, 0, kDefs, parsed, error));
        EXPECT_EQ(error, expected);
    }
}

TEST(Arguments, KeyTextToleratesBlanksOnlyAndNeverEchoesTheText)
{
    const std::string key = "00112233445566778899aabbccddeeff00112233445566778899AABBCCDDEEFF";
    // (text, accepted, part of the error)
    for (auto [text, accepted, error] : Rows<std::string, bool, std::string>{
             {key, true, ""},
             {key + "\n", true, ""},
             {" \t" + key.substr(0, 32) + "\r\n" + key.substr(32) + "\r\n", true, ""},
             {"", false, "got 0 characters (make one with: openssl rand -hex 32)"},
             {key.substr(1), false, "got 63 characters besides blanks"},
             {key + "0", false, "got 65 characters besides blanks"},
             {"0x" + key.substr(2), false, "it holds other characters"},
             {key.substr(0, 63) + "g", false, "it holds other characters"},
             {"\xEF\xBB\xBF" + key.substr(3), false, "it holds other characters"}})
    {
        uint8_t parsed[32] = {};
        std::string message;
        EXPECT_EQ(ParseKeyText(text, parsed, message), accepted) << text;
        EXPECT_NE(message.find(error), std::string::npos) << message;
        if (!accepted)
            EXPECT_EQ(message.find(key.substr(8, 16)), std::string::npos) << "the error repeats the key";
        else
            EXPECT_TRUE(parsed[0] == 0x00 && parsed[15] == 0xFF && parsed[31] == 0xFF);
    }
}

int NoRun(const Invocation&)
{
    return 0;
}

TEST(Help, MadeFromTheTableWrappedAndComplete)
{
    const std::string longText = "one two three four five six seven eight nine ten eleven twelve thirteen "
                                 "fourteen fifteen sixteen seventeen eighteen nineteen twenty";
    const CommandSpec command = {"demo",
                                 "IN -o OUT",
                                 "a command to test the help",
                                 "Describes the demo.\n",
                                 {{"output", 'o', true, "FILE", "the file to write"},
                                  {"a-rather-long-option-name", 0, true, "VALUE", longText.c_str()},
                                  {"flag", 0, false, nullptr, "a flag"}},
                                 "exit status: 0.\n",
                                 NoRun};
    const std::string help = CommandHelp(command);
    EXPECT_EQ(help.rfind("usage: kvotool demo [options] IN -o OUT\n\nDescribes the demo.\n\noptions:\n", 0),
              0u)
        << help;
    EXPECT_NE(help.find("\n  -o, --output FILE  the file to write\n"), std::string::npos) << help;
    EXPECT_NE(help.find("\n  --flag             a flag\n"), std::string::npos) << help;
    // Too long a name puts its text on the next line, at the column of the others.
    EXPECT_NE(help.find("\n  --a-rather-long-option-name VALUE\n                     one two"),
              std::string::npos)
        << help;
    EXPECT_NE(help.find("\n  -h, --help         show this text\n\nexit status: 0.\n"), std::string::npos)
        << help;
    // Every word of every text, in order; no line over 79 columns.
    std::string words;
    size_t start = 0;
    for (size_t end; (end = help.find('\n', start)) != std::string::npos; start = end + 1)
    {
        EXPECT_LE(end - start, 79u) << help.substr(start, end - start);
        words += " " + help.substr(start, end - start);
    }
    std::string joined;
    for (size_t i = 0; i < words.size(); ++i)
        if (words[i] != ' ' || (!joined.empty() && joined.back() != ' '))
            joined += words[i];
    EXPECT_NE(joined.find(longText), std::string::npos) << joined;

    const std::string general = GeneralHelp({command});
    EXPECT_NE(general.find("\n  demo IN -o OUT  a command to test the help\n"), std::string::npos) << general;
    EXPECT_NE(general.find("--version"), std::string::npos) << general;
}
} // namespace

TEST(Diagnostics, PositionCountsLinesAndCharacters)
{
    const std::string text = "{\n  \"a\": \"\xC3\xA9x\"\n}";
    // (offset, line, column); é counts as one character.
    for (auto [offset, wantLine, wantColumn] :
         {std::tuple<size_t, int, int>{0, 1, 1}, {text.find('x'), 2, 10}, {text.size(), 3, 2}})
    {
        int line = 0, column = 0;
        PositionOf(text, offset, line, column);
        EXPECT_EQ(std::make_pair(line, column), std::make_pair(wantLine, wantColumn)) << offset;
    }
}

class AtomicWrite : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dir =
            std::filesystem::temp_directory_path() /
            (std::string("kvotool-core-") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    size_t FilesInDir() const
    {
        return static_cast<size_t>(
            std::distance(std::filesystem::directory_iterator(dir), std::filesystem::directory_iterator()));
    }
    std::filesystem::path dir;
};

TEST_F(AtomicWrite, ReplacesExistingFileAndLeavesNoTemporary)
{
    const std::string path = (dir / "out.bin").string();
    std::string error, back;
    ASSERT_TRUE(WriteFileAtomically(path, "first", error)) << error;
    ASSERT_TRUE(WriteFileAtomically(path, std::string("sec\0nd", 6), error)) << error;
    ASSERT_TRUE(ReadWholeFile(path, back, error)) << error;
    EXPECT_EQ(back, std::string("sec\0nd", 6));
    EXPECT_EQ(FilesInDir(), 1u);
}

#ifndef _WIN32
TEST_F(AtomicWrite, ReplacedFileKeepsItsMode)
{
    const auto path = dir / "script.json";
    std::string error;
    ASSERT_TRUE(WriteFileAtomically(path.string(), "one", error)) << error;
    std::filesystem::permissions(path, std::filesystem::perms::owner_read |
                                           std::filesystem::perms::owner_write |
                                           std::filesystem::perms::others_read);
    const auto before = std::filesystem::status(path).permissions();
    ASSERT_TRUE(WriteFileAtomically(path.string(), "two", error)) << error;
    EXPECT_EQ(std::filesystem::status(path).permissions(), before);
}
#endif

TEST_F(AtomicWrite, FailureKeepsOldFileAndNoTemporary)
{
    // The target is a folder: the rename fails after the data was written.
    const auto target = dir / "taken";
    std::filesystem::create_directories(target / "inside");
    std::string error;
    EXPECT_FALSE(WriteFileAtomically(target.string(), "data", error));
    EXPECT_NE(error.find("cannot write"), std::string::npos) << error;
    EXPECT_TRUE(std::filesystem::is_directory(target / "inside"));
    EXPECT_EQ(FilesInDir(), 1u);
}

TEST_F(AtomicWrite, ReadingAFolderIsReported) // a missing folder or file: see cli_test.py
{
    std::string bytes, error;
    EXPECT_FALSE(ReadWholeFile(dir.string(), bytes, error));
    EXPECT_NE(error.find("it is a folder"), std::string::npos) << error;
}

namespace
{
// A minimal 64-bit executable whose one section holds a version resource,
// laid out as resource compilers do (key, value and children aligned to 4).
class PeBuilder
{
public:
    static std::string Build(const std::vector<std::pair<std::string, std::string>>& strings)
    {
        std::string fixed;
        for (uint32_t v : {0xFEEF04BDu, 0x10000u, 0x00020005u, 0x00000007u, 0x00020005u, 0x00000007u, 0x3Fu,
                           0u, 0x40004u, 1u, 0u, 0u, 0u})
            fixed += U32(v);
        std::string table;
        for (const auto& [key, value] : strings)
            table += Pad(Block(key, Wide(value), "", true));
        const std::string info = Block("VS_VERSION_INFO", fixed,
                                       Pad(Block("StringFileInfo", "", Pad(Block("040904B0", "", table)))));
        const uint32_t rva = 0x1000;
        std::string rsrc = Directory(16, 0x80000018) + Directory(1, 0x80000030) + Directory(0x409, 0x48) +
                           U32(rva + 0x58) + U32(uint32_t(info.size())) + U32(0) + U32(0) + info;
        std::string optional = U16(0x20B) + U16(0) + std::string(104, '\0') + U32(16) +
                               std::string(16, '\0') + U32(rva) + U32(uint32_t(rsrc.size())) +
                               std::string(13 * 8, '\0');
        std::string section = std::string(".rsrc\0\0\0", 8) + U32(uint32_t(rsrc.size())) + U32(rva) +
                              U32(uint32_t(rsrc.size())) + U32(0x200) + std::string(16, '\0');
        std::string pe = "MZ" + std::string(58, '\0') + U32(64) + std::string("PE\0\0", 4) + U16(0x8664) +
                         U16(1) + U32(0) + U32(0) + U32(0) + U16(uint16_t(optional.size())) + U16(0x22) +
                         optional + section;
        pe.resize(0x200, '\0');
        return pe + rsrc;
    }

private:
    static std::string U16(uint16_t v) { return std::string{char(v & 0xFF), char(v >> 8)}; }
    static std::string U32(uint32_t v) { return U16(uint16_t(v)) + U16(uint16_t(v >> 16)); }
    static std::string Pad(std::string s) { return s.append((4 - s.size() % 4) % 4, '\0'); }
    static std::string Wide(const std::string& ascii)
    {
        std::string out;
        for (char c : ascii)
            out += U16(uint16_t(static_cast<unsigned char>(c)));
        return out + U16(0);
    }
    static std::string Block(const std::string& key, const std::string& value, const std::string& children,
                             bool text = false)
    {
        const std::string body = Pad(Pad(std::string(6, '\0') + Wide(key)) + value) + children;
        return U16(uint16_t(body.size())) + U16(uint16_t(text ? value.size() / 2 : value.size())) +
               U16(text) + body.substr(6);
    }
    static std::string Directory(uint32_t id, uint32_t target)
    {
        return U32(0) + U32(0) + U16(0) + U16(0) + U16(0) + U16(1) + U32(id) + U32(target);
    }
};

const std::string kStub = PeBuilder::Build({{"CompanyName", "Nordlicht Spiele GmbH"},
                                            {"FileVersion", "2.5.0.7"},
                                            {"OriginalFilename", "StarHarbor.exe"},
                                            {"ProductName", "Star Harbor"}});
} // namespace

TEST(PeVersion, ReadsFixedVersionAndBranding)
{
    PeVersionInfo info;
    ASSERT_EQ(ReadPeVersion(kStub, info), PeVersionResult::Ok);
    EXPECT_EQ(FormatVersion(info.fileVersion), "2.5.0.7");
    EXPECT_EQ(
        std::make_tuple(info.productName, info.companyName, info.originalFilename, info.fileVersionText),
        std::make_tuple("Star Harbor", "Nordlicht Spiele GmbH", "StarHarbor.exe", "2.5.0.7"));
}

TEST(PeVersion, DamagedFilesGiveNoVersionNeverACrash)
{
    PeVersionInfo info;
    for (auto [bytes, expected] : Rows<std::string, PeVersionResult>{
             {"", PeVersionResult::NotExecutable},
             {"MZ" + std::string(100, '\0'), PeVersionResult::NotExecutable}, // no "PE" at offset 0
             {kStub.substr(0, 0x200), PeVersionResult::NoVersion},            // the section is cut off
             {kStub.substr(0, kStub.size() - 1),
              PeVersionResult::NoVersion}}) // the resource is one byte short
        EXPECT_EQ(ReadPeVersion(bytes, info), expected) << bytes.size();
    // Every cut and every byte set to 0xFF or 0x00 (sizes, offsets, keys):
    // whatever comes out, the reads stay inside the file (ASan watches).
    size_t ok = 0;
    for (size_t cut = 0; cut < kStub.size(); ++cut)
        ok += ReadPeVersion(kStub.substr(0, cut), info) == PeVersionResult::Ok;
    EXPECT_EQ(ok, 0u);
    for (size_t at = 0; at < kStub.size(); ++at)
        for (char value : {'\xFF', '\0'})
        {
            std::string damaged = kStub;
            damaged[at] = value;
            ReadPeVersion(damaged, info);
        }
}

TEST(GameFolder, PathsBecomeUris)
{
    for (auto [path, uri] : Rows<const char*, const char*>{
             {"title.json", "title.json"},
             {"Sample Game\\title.kvo", "Sample%20Game/title.kvo"},
             {"/srv/my game/t#1.json", "file:///srv/my%20game/t%231.json"},
             {"C:\\Games\\T\\title.kvo", "file:///C:/Games/T/title.kvo"},
             {"\\\\server\\share\\t.kvo", "file://server/share/t.kvo"},
             {"ab:c.json", "ab%3Ac.json"}}) // a colon in a relative path is no scheme
        EXPECT_EQ(PathToUri(path), uri) << path;
}
