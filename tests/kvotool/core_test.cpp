// The tool's own helpers: suggestions, argument parsing, positions, atomic output.
#include "cli.h"
#include "diagnostics.h"
#include "file_io.h"
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
    for (auto [a, b, distance] : Rows<const char*, const char*, size_t>{
             {"steam", "steam", 0},  {"Steam", "steam", 0}, {"stema", "steam", 1}, {"stam", "steam", 1},
             {"steamm", "steam", 1}, {"", "epic", 4},       {"abc", "", 3},        {"kitten", "sitting", 3}})
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
    for (auto [args, output, verbose, positionals] : Rows<Args, std::string, int, Args>{
             {{"a.json", "-o", "b.kvo"}, "b.kvo", 0, {"a.json"}},
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
    for (auto [args, expected] : Rows<Args, const char*>{
             {{"--forse"}, "unknown option '--forse'; did you mean '--force'?"},
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

} // namespace

TEST(Diagnostics, PositionCountsLinesAndCharacters)
{
    const std::string text = "{\n  \"a\": \"\xC3\xA9x\"\n}";
    // (offset, line, column); é counts as one character.
    for (auto [offset, wantLine, wantColumn] : {std::tuple<size_t, int, int>{0, 1, 1}, {text.find('x'), 2, 10},
                                                {text.size(), 3, 2}})
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
        dir = std::filesystem::temp_directory_path() /
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
