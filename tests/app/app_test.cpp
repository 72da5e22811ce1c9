#include "app/main_flow.h"
#include "app/messages.h"
#include "app/system_checks.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <shellapi.h>

#include <string>
#include <vector>

namespace
{
struct OwnArgumentCase
{
    const wchar_t* commandLine;
    bool ok;
    const wchar_t* arguments;
};

TEST(OwnArgumentText, Table)
{
    const OwnArgumentCase cases[] = {
        {L"\"D:\\Games\\T\\Play.exe\" -stub_log -x", true, L"-stub_log -x"},
        {L"\"D:\\Games\\T\\Play.exe\" ", true, L""},
        {L"\"D:\\Games\\T\\Play.exe\"", false, L""},
        {L"D:\\Games\\T\\Play.exe", false, L""},
        {L"Play.exe -A \"B c\"", true, L"-A \"B c\""},
        // Case, doubled blanks and quoting pass through untouched.
        {L"\"C:\\My Games\\P.exe\"  -Two  \"x\"", true, L" -Two  \"x\""},
        // An unquoted program path with a blank is cut at that blank.
        {L"C:\\My Games\\P.exe -x", true, L"Games\\P.exe -x"},
        // The first quote followed by a blank ends the program part.
        {L"\"a\"b\" c", true, L"c"},
        {L"", false, L""},
        {nullptr, false, L""},
    };
    for (const OwnArgumentCase& c : cases)
    {
        SCOPED_TRACE(c.commandLine ? testing::PrintToString(std::wstring(c.commandLine)) : "null");
        std::wstring arguments = L"unchanged";
        EXPECT_EQ(ExtractOwnArgumentText(c.commandLine, arguments), c.ok);
        if (c.ok)
        {
            EXPECT_EQ(arguments, c.arguments);
        }
    }
}

TEST(OwnArgumentText, OfThisProcessSplitsIntoItsArguments)
{
    std::wstring arguments;
    std::vector<std::wstring> fromRuntime(__wargv + 1, __wargv + __argc);
    if (!GetOwnArgumentText(arguments))
    {
        // A command line with nothing after the program name has no argument text.
        EXPECT_TRUE(fromRuntime.empty());
        return;
    }
    // Split behind a dummy program name, the text gives argv[1..] back.
    int count = 0;
    LPWSTR* split = CommandLineToArgvW((L"x " + arguments).c_str(), &count);
    ASSERT_NE(split, nullptr);
    std::vector<std::wstring> fromText(split + 1, split + count);
    LocalFree(split);
    EXPECT_EQ(fromText, fromRuntime);
}

TEST(MessageText, PlaceholderAndMicroSign)
{
    const struct
    {
        std::wstring text;
        std::wstring title;
        std::wstring expected;
    } cases[] = {
        {L"~TitleName~ x", L"", L" x"},
        {L"~TitleName~ rocks", L"Game", L"Game rocks"},
        {L"a~b", L"", L"a"},
        {L"a~bcdefghijklmn", L"", L"almn"},
        {L"~TitleName~ and ~TitleName~", L"T", L"T and ~TitleName~"},
        {L"no placeholder", L"T", L"no placeholder"},
        {L"5 \u00B5s \u00B5", L"", L"5 \u00A0s \u00A0"},
        {L"", L"T", L""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ApplyMessageTextRules(c.text, c.title), c.expected) << testing::PrintToString(c.text);
}

TEST(MessageText, LoadedFromTheStringTable)
{
    EXPECT_EQ(LoadMessageText(300), L"Error");
    EXPECT_EQ(LoadMessageText(301), L"Warning");
    EXPECT_EQ(LoadMessageText(ErrorTextId(LauncherOutOfDate)),
              L"The Tavrin Games Launcher is out of date, please verify your game data.");
    // Error 4 and warning 4 show the same words through two ids.
    EXPECT_NE(ErrorTextId(XpVistaUnsupported), WarningTextId(XpVistaUnsupported));
    EXPECT_EQ(LoadMessageText(ErrorTextId(XpVistaUnsupported)),
              LoadMessageText(WarningTextId(XpVistaUnsupported)));
    EXPECT_NE(LoadMessageText(ErrorTextId(GameExecutableNotFound)).find(L"\n\nPlease visit"),
              std::wstring::npos);
    EXPECT_EQ(ErrorTextId(MetadataLoadFailed), WarningTextId(LauncherNotFound));
    EXPECT_EQ(LoadMessageText(4242), L"");
}

TEST(MessageText, LanguageByPrimaryLanguage)
{
    // The table a UI language reads, and whether its boxes read right to left.
    constexpr bool rtl = true;
    const struct
    {
        LANGID ui, table;
        bool rightToLeft = false;
    } rows[] = {
        {0x0409, 0x0409},      {0x0809, 0x0409}, // en-US, en-GB
        {0x0407, 0x0407},      {0x0C07, 0x0407},
        {0x0807, 0x0407}, // de-DE, de-AT, de-CH
        {0x0C0C, 0x040C},      {0x080C, 0x040C},
        {0x0810, 0x0410}, // fr-CA, fr-BE, it-CH
        {0x0416, 0x0416}, // pt-BR
        {0x0816, 0x0816},      {0x0016, 0x0816},
        {0x0C16, 0x0816},                        // pt-PT, neutral pt, any other: Portugal's
        {0x0C0A, 0x0C0A},      {0x040A, 0x0C0A}, // es-ES, both sort orders
        {0x080A, 0x080A},      {0x2C0A, 0x080A},
        {0x540A, 0x080A}, // es-MX, es-AR, es-US
        {0x0404, 0x0404},      {0x0C04, 0x0404},
        {0x1404, 0x0404},      {0x7C04, 0x0404}, // zh-TW, -HK, -MO, zh-Hant
        {0x0804, 0x0804},      {0x1004, 0x0804},
        {0x0004, 0x0804}, // zh-CN, -SG, zh-Hans
        {0x0411, 0x0411},      {0x0412, 0x0412},
        {0x0415, 0x0415},      {0x0419, 0x0419},
        {0x0401, 0x0401, rtl}, {0x0C01, 0x0401, rtl}, // ar-SA, ar-EG
        {0x3801, 0x0401, rtl}, {0x1401, 0x0401, rtl}, // ar-AE, ar-DZ
        {0x0414, 0x0414},      {0x0814, 0x0414},
        {0x0014, 0x0414},      {0x7814, 0x0414}, // nb-NO, nn-NO, no, nn
        {0x0402, 0x0402},      {0x0405, 0x0405},
        {0x0406, 0x0406},      {0x0408, 0x0408}, // bg, cs, da, el
        {0x040B, 0x040B},      {0x040E, 0x040E},
        {0x0413, 0x0413},      {0x0813, 0x0413}, // fi, hu, nl-NL, nl-BE
        {0x0418, 0x0418},      {0x0818, 0x0418},
        {0x041D, 0x041D},      {0x081D, 0x041D}, // ro-RO, ro-MD, sv-SE, sv-FI
        {0x041E, 0x041E},      {0x041F, 0x041F},
        {0x0421, 0x0421},      {0x0422, 0x0422}, // th, tr, id, uk
        {0x042A, 0x042A},                        // vi
        {0x040F, 0x0409},      {0x040D, 0x0409},
        {0x0429, 0x0409},      {0x0000, 0x0409}, // is, he, fa, neutral
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(MessageLanguage(row.ui), row.table) << std::hex << row.ui;
        EXPECT_EQ(ReadingOrderStyle(MessageLanguage(row.ui)), row.rightToLeft ? MB_RTLREADING | MB_RIGHT : 0u)
            << std::hex << row.ui;
    }
}

TEST(WindowsVersion, AgainstTheTestPrefix)
{
    // The test prefix reports Windows 10; a higher major passes whatever follows.
    const struct
    {
        uint16_t major, minor, servicePack;
        bool atLeast;
    } cases[] = {{6, 1, 0, true},  {6, 1, 1, true},   {6, 3, 99, true},
                 {10, 0, 0, true}, {10, 1, 0, false}, {11, 0, 0, false}};
    for (const auto& c : cases)
        EXPECT_EQ(IsWindowsVersionOrGreater(c.major, c.minor, c.servicePack), c.atLeast)
            << c.major << "." << c.minor << " SP" << c.servicePack;
    EXPECT_TRUE(IsWindows7OrGreater());
    EXPECT_TRUE(IsWindows7Sp1OrGreater());
    EXPECT_TRUE(IsWindows10OrGreater());
}
} // namespace
