#include "options/switches.h"
#include "support/capture_sink.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
// A private registry with the switches the cases look at, so that each case
// starts from fresh values.
struct TestSwitches
{
    ValueSwitch launcherPath{L"-forceLauncherPath"}, targetPath{L"-forceTargetPath"};
    FlagSwitch stubLog{L"-stub_log"}, slashF{L"/F"};
    OptionRegistry registry;

    TestSwitches()
    {
        using List = std::initializer_list<CommandLineSwitch*>;
        for (CommandLineSwitch* s : List{&launcherPath, &targetPath, &stubLog, &slashF})
            registry.Register(s);
    }
};

struct ParseCase
{
    const char* what;
    const wchar_t* commandLine;
    const wchar_t* launcherPath;
    const wchar_t* targetPath;
    bool stubLog;
    bool slashF;
};

const ParseCase kParseCases[] = {
    {"quoted separate argument", L"-forceLauncherPath \"D:\\Program Files\\L\\Launcher.exe\"",
     L"d:\\program files\\l\\launcher.exe", L"", false, false},
    {"equals with quoted value", L"-stub_log -forceLauncherPath=\"D:\\Program Files\\L\\Launcher.exe\"",
     L"d:\\program files\\l\\launcher.exe", L"", true, false},
    // The first argument is split by the program-name rules: quotes inside it
    // stay and the blank ends it.
    {"first argument keeps its quotes", L"-forceLauncherPath=\"D:\\Program Files\\L.exe\"", L"\"d:\\program",
     L"", false, false},
    {"colon form", L"-forceLauncherPath:D:\\L.exe", L"d:\\l.exe", L"", false, false},
    {"only one separator is skipped", L"-forceLauncherPath==x", L"=x", L"", false, false},
    {"any character is skipped", L"-forceLauncherPathXabc", L"abc", L"", false, false},
    {"separator with nothing after it", L"-forceLauncherPath=", L"", L"", false, false},
    {"trailing switch without value", L"-stub_log -forceLauncherPath", L"", L"", true, false},
    {"next argument is a switch", L"-forceLauncherPath -stub_log", L"", L"", true, false},
    {"empty next argument is not a value", L"-forceLauncherPath \"\" x", L"", L"", false, false},
    {"name inside another argument", L"x-STUB_LOGx", L"", L"", true, false},
    {"slash F inside a path", L"c:/foo", L"", L"", false, true},
    {"value is examined by other switches", L"-forceLauncherPath x-stub_log", L"x-stub_log", L"", true,
     false},
    {"value with slash F sets both", L"-forceLauncherPath=C:/Foo/L.exe", L"c:/foo/l.exe", L"", false, true},
    {"last occurrence wins", L"-forceLauncherPath=A -FORCELAUNCHERPATH B -forceLauncherPath:C", L"c", L"",
     false, false},
    {"later empty occurrence clears", L"-forceLauncherPath=A -forceLauncherPath", L"", L"", false, false},
    {"flag never takes the next argument", L"-stub_log -forceTargetPath", L"", L"", true, false},
    {"two value switches", L"-forceTargetPath \"D:\\My Games\\T\\\" -forceLauncherPath=L.exe", L"l.exe",
     L"d:\\my games\\t\" -forcelauncherpath=l.exe", false, false},
    {"unknown arguments change nothing", L"-unknownSwitch @other.txt -force", L"", L"", false, false},
    {"empty command line scans the program path only", L"", L"", L"", false, false},
};

TEST(OptionRegistryParse, Table)
{
    for (const ParseCase& c : kParseCases)
    {
        SCOPED_TRACE(c.what);
        TestSwitches s;
        s.registry.Parse(c.commandLine);
        EXPECT_EQ(s.launcherPath.Value(), c.launcherPath);
        EXPECT_EQ(s.targetPath.Value(), c.targetPath);
        EXPECT_EQ(s.stubLog.IsSet(), c.stubLog);
        EXPECT_EQ(s.slashF.IsSet(), c.slashF);
    }
}

// The count of arguments (an empty command line still has the program path),
// then each match in registration order; a null command line logs nothing.
TEST(OptionRegistryParse, LogsCountAndEachMatchInRegistrationOrder)
{
    const struct
    {
        const wchar_t* commandLine;
        bool stubLog;
        std::vector<std::string> expected;
    } cases[] = {
        {nullptr, false, {}},
        {L"", false, {"Processing 1 command line arguments"}},
        {L"-STUB_LOG -forceLauncherPath D:\\A -other",
         true,
         {"Processing 4 command line arguments", " -forcelauncherpath=d:\\a", " -stub_log="}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.commandLine ? testing::PrintToString(std::wstring(c.commandLine)) : "null");
        ScopedLogCapture capture;
        TestSwitches s;
        s.registry.Parse(c.commandLine);
        EXPECT_EQ(capture.lines, c.expected);
        EXPECT_EQ(s.stubLog.IsSet(), c.stubLog);
    }
}

TEST(OptionRegistryParse, MatchSwitchTakesEachValueArgumentOnce)
{
    // After taking "-forcelauncherpath" as its own value source the switch
    // skips that argument, so it does not match again there.
    ValueSwitch path(L"-forceLauncherPath");
    OptionRegistry::MatchSwitch(path, {L"-forcelauncherpath", L"x-forcelauncherpath"});
    EXPECT_EQ(path.Value(), L"x-forcelauncherpath");

    ValueSwitch untouched(L"-forceTargetPath");
    OptionRegistry::MatchSwitch(untouched, {});
    EXPECT_EQ(untouched.Value(), L"");
}

TEST(StubSwitches, RegisteredInOrderWithLowerCaseNames)
{
    const std::vector<std::wstring> expected = {
        L"-forcelauncherpath",    L"-forcetargetpath",     L"-stub_log",
        L"-launchdirectly",       L"-forcexpvistafailure", L"-forcexpvistasuccess",
        L"-forcesp1failure",      L"-forcesp1success",     L"-force64bit",
        L"-force32bit",           L"-forceoldkvofailure",  L"-skipinstallers",
        L"-forceprereleasecheck", L"-skipprereleasecheck", L"/f",
    };
    std::vector<std::wstring> names;
    for (const CommandLineSwitch* s : OptionRegistry::Instance().Switches())
        names.push_back(s->Name());
    EXPECT_EQ(names, expected);
    EXPECT_TRUE(Switches::ForceLauncherPath.TakesValue());
    EXPECT_TRUE(Switches::ForceTargetPath.TakesValue());
    EXPECT_FALSE(Switches::StubLogEnabled.TakesValue());
    EXPECT_FALSE(Switches::SlashF.TakesValue());
}
} // namespace
