// The tool's own helpers: suggestions, argument parsing, positions, atomic output.
#include "cli.h"
#include "diagnostics.h"
#include "file_io.h"
#include "suggest.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

using namespace kvotool;

namespace
{
const std::vector<std::string> kPlatforms = {"default", "steam", "viveport", "oculus", "disk", "epic"};
const std::vector<std::string> kKeys = {"titleId",     "friendlyName", "altFriendlyName", "gamePlatform",
                                        "steamAppIds", "modAllowList", "modWhitelist",    "cloudSaveRoot"};
} // namespace

TEST(Suggest, EditDistanceCountsCaseFreeEditsAndTranspositions)
{
    struct Case
    {
        const char* a;
        const char* b;
        size_t distance;
    } cases[] = {
        {"steam", "steam", 0},  {"Steam", "steam", 0}, {"stema", "steam", 1}, {"stam", "steam", 1},
        {"steamm", "steam", 1}, {"", "epic", 4},       {"abc", "", 3},        {"kitten", "sitting", 3},
    };
    for (const auto& c : cases)
        EXPECT_EQ(EditDistance(c.a, c.b), c.distance) << c.a << " / " << c.b;
}

TEST(Suggest, ClosestMatchFindsPlausibleIntentOnly)
{
    struct Case
    {
        const char* word;
        const std::vector<std::string>* candidates;
        const char* expected;
    } cases[] = {
        {"Steam", &kPlatforms, "steam"},
        {"EPIC", &kPlatforms, "epic"},
        {"vivport", &kPlatforms, "viveport"},
        {"titleID", &kKeys, "titleId"},
        {"gamePlatfrom", &kKeys, "gamePlatform"},
        {"freindlyName", &kKeys, "friendlyName"},
        {"xbox", &kPlatforms, ""},
        {"comment", &kKeys, ""},
        {"steam", &kPlatforms, ""}, // an exact keyword needs no suggestion
    };
    for (const auto& c : cases)
        EXPECT_EQ(ClosestMatch(c.word, *c.candidates), c.expected) << c.word;
}

TEST(Suggest, CaseOnlyDifferenceWinsOverOneEdit)
{
    EXPECT_EQ(ClosestMatch("Docs", {"doc", "docs"}), "docs");
}

TEST(Arguments, LongShortInlineAndPositionalForms)
{
    const std::vector<OptionDef> defs = {{"output", 'o', true}, {"force", 0, false}, {"verbose", 'v', false}};
    struct Case
    {
        std::vector<std::string> args;
        std::string output;
        int verbose;
        std::vector<std::string> positionals;
    } cases[] = {
        {{"a.json", "-o", "b.kvo"}, "b.kvo", 0, {"a.json"}},
        {{"--output=b.kvo", "a.json"}, "b.kvo", 0, {"a.json"}},
        {{"-ob.kvo", "-v", "-v", "a"}, "b.kvo", 2, {"a"}},
        {{"--", "-o", "-"}, "", 0, {"-o", "-"}},
        {{"-", "--output", "-"}, "-", 0, {"-"}},
    };
    for (const auto& c : cases)
    {
        ParsedArguments parsed;
        std::string error;
        ASSERT_TRUE(ParseArguments(c.args, 0, defs, parsed, error)) << error;
        EXPECT_EQ(parsed.Value("output"), c.output);
        EXPECT_EQ(parsed.flags.count("verbose") ? parsed.flags.at("verbose") : 0, c.verbose);
        EXPECT_EQ(parsed.positionals, c.positionals);
    }
}

TEST(Arguments, ErrorsNameTheOptionAndSuggest)
{
    const std::vector<OptionDef> defs = {{"output", 'o', true}, {"force", 0, false}};
    struct Case
    {
        std::vector<std::string> args;
        const char* error;
    } cases[] = {
        {{"--forse"}, "unknown option '--forse'; did you mean '--force'?"},
        {{"--zzz"}, "unknown option '--zzz'"},
        {{"-o"}, "option '--output' needs a value"},
        {{"--force=yes"}, "option '--force' takes no value"},
        {{"-o", "a", "-o", "b"}, "option '--output' given twice"},
    };
    for (const auto& c : cases)
    {
        ParsedArguments parsed;
        std::string error;
        EXPECT_FALSE(ParseArguments(c.args, 0, defs, parsed, error));
        EXPECT_EQ(error, c.error);
    }
}

TEST(Arguments, HexKeyNeedsExactly64Digits)
{
    uint8_t key[32] = {};
    std::string good(62, '0');
    EXPECT_FALSE(ParseHexKey(good, key));
    good = "A1" + good;
    ASSERT_TRUE(ParseHexKey(good, key));
    EXPECT_EQ(key[0], 0xA1);
    EXPECT_EQ(key[31], 0);
    EXPECT_FALSE(ParseHexKey(good.substr(0, 63) + "g", key));
}

TEST(Diagnostics, PositionCountsLinesAndCharacters)
{
    const std::string text = "{\n  \"a\": \"\xC3\xA9x\"\n}";
    int line, column;
    PositionOf(text, 0, line, column);
    EXPECT_EQ(line, 1);
    EXPECT_EQ(column, 1);
    PositionOf(text, text.find('x'), line, column);
    EXPECT_EQ(line, 2); // é counts as one character
    EXPECT_EQ(column, 10);
    PositionOf(text, text.size(), line, column);
    EXPECT_EQ(line, 3);
    EXPECT_EQ(column, 2);
}

TEST(Diagnostics, FormatIsCompilerStyle)
{
    DiagnosticList list;
    list.Add(Severity::Error, "bad", 3, 7);
    list.Warning("odd");
    EXPECT_EQ(list.Errors(), 1u);
    EXPECT_EQ(list.Warnings(), 1u);
    EXPECT_EQ(list.Format("t.json"), "t.json:3:7: error: bad\nt.json: warning: odd\n");
}

class AtomicWrite : public ::testing::Test
{
  protected:
    void SetUp() override
    {
        dir = std::filesystem::temp_directory_path() /
              ("kvotool-core-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    size_t FilesInDir() const
    {
        size_t n = 0;
        for (auto it = std::filesystem::directory_iterator(dir); it != std::filesystem::directory_iterator();
             ++it)
            ++n;
        return n;
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

TEST_F(AtomicWrite, MissingFolderIsReported)
{
    std::string error;
    EXPECT_FALSE(WriteFileAtomically((dir / "no" / "such.kvo").string(), "x", error));
    EXPECT_NE(error.find("cannot create a file beside"), std::string::npos) << error;
}

TEST_F(AtomicWrite, ReadingFolderOrMissingFileFails)
{
    std::string bytes, error;
    EXPECT_FALSE(ReadWholeFile(dir.string(), bytes, error));
    EXPECT_NE(error.find("it is a folder"), std::string::npos);
    EXPECT_FALSE(ReadWholeFile((dir / "absent").string(), bytes, error));
    EXPECT_NE(error.find("cannot open"), std::string::npos);
}
