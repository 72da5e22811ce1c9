// Reads the resources back out of the built executables, loaded as data files.
#include "resource_test_config.h"
#include "resources/string_ids.h"
#include "resources/support_url.h"
#include "util/test_folder_win.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace
{
using Texts = std::map<UINT, std::wstring>;
using StringTable = std::map<LANGID, Texts>;

const std::set<LANGID> kLanguages = {1025, 1026, 1028, 1029, 1030, 1031, 1032, 1033, 1035, 1036,
                                     1038, 1040, 1041, 1042, 1043, 1044, 1045, 1046, 1048, 1049,
                                     1053, 1054, 1055, 1057, 1058, 1066, 2052, 2058, 2070, 3082};
const std::set<UINT> kIds = {102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112, 113, 114, 115, 116, 117,
                             118, 202, 203, 204, 205, 206, 207, 208, 209, 210, 299, 300, 301, 302, 303};
const std::set<UINT> kIdsWithAddress = {116, 117, 118, 206, 207, 208, 210, 299};
const std::set<UINT> kIdsWithPlaceholder = {106, 117};
constexpr UINT kIdWithLineFeeds = 210;
const std::wstring kAddressInText = std::wstring(kSupportUrlW) + L"/";

std::string Narrow(const std::wstring& text)
{
    std::string out;
    char escape[12];
    for (wchar_t c : text)
        out += (c >= 0x20 && c < 0x7F) ? std::string(1, char(c))
                                       : (snprintf(escape, sizeof escape, "\\u%04X", unsigned(c)), escape);
    return out;
}

size_t Count(const std::wstring& text, const std::wstring& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::wstring::npos; at = text.find(part, at + part.size()))
        ++n;
    return n;
}

using DataFile = std::unique_ptr<std::remove_pointer_t<HMODULE>, decltype(&FreeLibrary)>;

std::vector<uint8_t> ResourceBytes(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language)
{
    HRSRC info = FindResourceExW(module, type, name, language);
    const auto* data = info ? static_cast<const uint8_t*>(LockResource(LoadResource(module, info))) : nullptr;
    return data ? std::vector<uint8_t>(data, data + SizeofResource(module, info)) : std::vector<uint8_t>();
}

// The numeric names of a type's resources (a named one shows as 0: never expected).
std::vector<WORD> ResourceNames(HMODULE module, LPCWSTR type)
{
    std::vector<WORD> names;
    EnumResourceNamesW(
        module, type,
        [](HMODULE, LPCWSTR, LPWSTR name, LONG_PTR out) -> BOOL
        {
            reinterpret_cast<std::vector<WORD>*>(out)->push_back(IS_INTRESOURCE(name) ? WORD(ULONG_PTR(name))
                                                                                      : 0);
            return TRUE;
        },
        LONG_PTR(&names));
    return names;
}

std::vector<WORD> ResourceLanguages(HMODULE module, LPCWSTR type, WORD name)
{
    std::vector<WORD> languages;
    EnumResourceLanguagesW(
        module, type, MAKEINTRESOURCEW(name),
        [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR out) -> BOOL
        {
            reinterpret_cast<std::vector<WORD>*>(out)->push_back(language);
            return TRUE;
        },
        LONG_PTR(&languages));
    return languages;
}

// Every text of every language: each language's RCDATA resource 1 holds, per
// text, its id and byte length (16 bits each, little-endian) and its UTF-8.
StringTable ReadStringTable(HMODULE module)
{
    StringTable table;
    for (WORD language : ResourceLanguages(module, RT_RCDATA, 1))
    {
        const std::vector<uint8_t> bytes = ResourceBytes(module, RT_RCDATA, MAKEINTRESOURCEW(1), language);
        for (size_t offset = 0; offset + 4 <= bytes.size();)
        {
            const UINT id = bytes[offset] | bytes[offset + 1] << 8;
            const size_t length = bytes[offset + 2] | bytes[offset + 3] << 8;
            offset += 4;
            if (offset + length > bytes.size())
                break;
            const char* utf8 = reinterpret_cast<const char*>(bytes.data() + offset);
            std::wstring text(length, L'\0');
            text.resize(
                MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, int(length), &text[0], int(length)));
            table[language][id] = text;
            offset += length;
        }
    }
    return table;
}

// The English texts, word for word.
Texts ExpectedEnglish()
{
    const std::wstring visit =
        L"Please visit Tavrin Games Support at " + kAddressInText + L" for more information.";
    return {
        {102, L"Unable to locate the Tavrin Games Launcher, please verify your game data and complete the "
              L"Tavrin Games Launcher installation."},
        {103, L"Unable to locate target path, please verify your game data."},
        {104, L"Unable to launch game, please verify your game data."},
        {105, L"Uninstall has been canceled."},
        {106, L"Are you sure you want to uninstall ~TitleName~?"},
        {107, L"Uninstall"},
        {108, L"Uninstall has been completed."},
        {109, L"Deleting Game Files"},
        {110, L"Deleted File"},
        {111, L"Deleted Folder"},
        {112, L"Not Found"},
        {113, L"Deleting Registry Keys"},
        {114, L"Are you sure you want to cancel?"},
        {115, L"Are you sure you want to cancel?"},
        {116, L"Unable to launch uninstaller. " + visit},
        {117, L"~TitleName~ could not be uninstalled. " + visit},
        {118, L"Support for Windows\u00AE 7 and Windows\u00AE 8 has ended. " + visit},
        {202, L"Unable to locate the Tavrin Games Launcher, please try reinstalling the game."},
        {203, L"Unable to locate target path, please try reinstalling the game."},
        {204, L"Unable to launch game, please try reinstalling the game."},
        {205, L"Unable to install prerequisites, please try reinstalling the game."},
        {206, L"Support for Windows\u00AE XP and Windows\u00AE Vista has ended. " + visit},
        {207, L"Support for Windows\u00AE XP and Windows\u00AE Vista has ended. " + visit},
        {208, L"Windows\u00AE 7 Service Pack 1 is required in order to launch this title. " + visit},
        {209, L"The Tavrin Games Launcher is out of date, please verify your game data."},
        {210,
         L"Unable to locate game executable. This game may not yet be available. If this issue persists, "
         L"please verify your game data. \n\n" +
             visit},
        {299, L"Unable to launch game. " + visit},
        {300, L"Error"},
        {301, L"Warning"},
        {302, L"Failed to Delete"},
        {303, L"Uninstall has been completed. Some files or folders failed to delete, these can be removed "
              L"manually. Uninstaller will now exit."},
    };
}

const std::tuple<LANGID, const wchar_t*, const wchar_t*> kCaptions[] = {
    {1028, L"\u932F\u8AA4", L"\u8B66\u544A"},
    {1031, L"Fehler", L"Warnung"},
    {1033, L"Error", L"Warning"},
    {1036, L"Erreur", L"Attention"},
    {1040, L"Errore", L"Attenzione"},
    {1041, L"\u30A8\u30E9\u30FC", L"\u8B66\u544A"},
    {1042, L"\uC624\uB958", L"\uC8FC\uC758"},
    {1045, L"B\u0142\u0105d", L"Ostrze\u017Cenie"},
    {1046, L"Erro", L"Aviso"},
    {1049, L"\u041E\u0448\u0438\u0431\u043A\u0430", L"\u0412\u043D\u0438\u043C\u0430\u043D\u0438\u0435"},
    {2052, L"\u9519\u8BEF", L"\u6CE8\u610F"},
    {2058, L"Error", L"Advertencia"},
    {3082, L"Error", L"Atenci\u00F3n"},
};

// A text that landed under the wrong language id, or was left in English,
// lacks its language's script (brand and product names are in Latin letters).
bool WrittenInScriptOf(LANGID language, const std::wstring& text)
{
    const std::map<LANGID, std::pair<wchar_t, wchar_t>> scripts = {
        {1025, {0x0600, 0x06FF}}, {1026, {0x0400, 0x04FF}}, {1032, {0x0370, 0x03FF}},
        {1049, {0x0400, 0x04FF}}, {1054, {0x0E00, 0x0E7F}}, {1058, {0x0400, 0x04FF}},
        {1041, {0x3040, 0x30FF}}, {1042, {0xAC00, 0xD7A3}}, {1028, {0x4E00, 0x9FFF}},
        {2052, {0x4E00, 0x9FFF}}, {1066, {0x1EA0, 0x1EF9}}, // Vietnamese: the letters with two marks
    };
    const auto script = scripts.find(language);
    if (script == scripts.end())
        return std::all_of(text.begin(), text.end(),
                           [language](wchar_t c)
                           {
                               const bool romanianComma =
                                   language == 1048 && c >= 0x0218 && c <= 0x021B; // Ș ș Ț ț
                               return c < 0x0180 || romanianComma || c == 0x2013 || c == 0x2014 ||
                                      c == 0x2019 || (c >= 0x201C && c <= 0x201E) || c == 0x2026;
                           });
    const auto [first, last] = script->second;
    return std::any_of(text.begin(), text.end(), [=](wchar_t c) { return c >= first && c <= last; });
}

class ModuleResources : public ::testing::TestWithParam<const wchar_t*>
{
protected:
    void SetUp() override
    {
        path_ = ExeFolder() + L"\\" + GetParam();
        module_.reset(LoadLibraryExW(path_.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
        ASSERT_TRUE(module_) << "cannot load " << Narrow(path_) << " as a data file, error "
                             << GetLastError();
        table_ = ReadStringTable(module_.get());
        ASSERT_EQ(table_.count(1033), 1u) << "no English texts";
    }
    const Texts& English() const { return table_.at(1033); }

    std::wstring path_;
    DataFile module_{nullptr, &FreeLibrary};
    StringTable table_;
};

TEST_P(ModuleResources, StringTableHoldsTheSameIdsInEachOfTheThirtyLanguages)
{
    std::set<LANGID> languages;
    for (const auto& [language, texts] : table_)
    {
        languages.insert(language);
        std::set<UINT> ids;
        for (const auto& entry : texts)
            ids.insert(entry.first);
        EXPECT_EQ(ids, kIds) << "language " << language;
    }
    EXPECT_EQ(languages, kLanguages);
}

TEST_P(ModuleResources, EnglishTextsAreWordForWord)
{
    for (const auto& [id, expected] : ExpectedEnglish())
        EXPECT_EQ(Narrow(English().at(id)), Narrow(expected)) << "id " << id;
}

TEST_P(ModuleResources, CaptionsInEveryLanguage)
{
    for (const auto& [language, error, warning] : kCaptions)
    {
        SCOPED_TRACE(testing::Message() << "language " << language);
        const Texts& texts = table_.at(language); // .at throws, failing the test, if one is missing
        EXPECT_EQ(Narrow(texts.at(IDS_CAPTION_ERROR)), Narrow(error));
        EXPECT_EQ(Narrow(texts.at(IDS_CAPTION_WARNING)), Narrow(warning));
    }
}

// What the stub's text loading assumes: a buffer of 512 units, "~" only in the placeholder, no U+00B5.
TEST_P(ModuleResources, EveryTextKeepsPlaceholderLineFeedsAddressAndMarks)
{
    for (const auto& [language, texts] : table_)
    {
        for (const auto& [id, text] : texts)
        {
            SCOPED_TRACE(testing::Message()
                         << "language " << language << ", id " << id << ": " << Narrow(text));
            EXPECT_FALSE(text.empty());
            EXPECT_LT(text.size(), 512u);

            const size_t placeholders = Count(text, L"~TitleName~");
            EXPECT_EQ(placeholders, kIdsWithPlaceholder.count(id) ? 1u : 0u);
            EXPECT_EQ(Count(text, L"~"), 2 * placeholders)
                << "a stray ~ would swallow the ten characters after it";
            EXPECT_EQ(text.find(L'\u00B5'), std::wstring::npos) << "U+00B5 is shown as a no-break space";

            EXPECT_EQ(Count(text, L"\n"), id == kIdWithLineFeeds ? 2u : 0u);
            EXPECT_EQ(Count(text, L"\n\n"), id == kIdWithLineFeeds ? 1u : 0u);
            for (wchar_t c : text)
                EXPECT_TRUE(c >= 0x20 || c == L'\n') << "control character U+" << std::hex << unsigned(c);
            EXPECT_EQ(text.find(L'\uFFFD'), std::wstring::npos);

            EXPECT_EQ(Count(text, kSupportUrlW), kIdsWithAddress.count(id) ? 1u : 0u);
            EXPECT_EQ(Count(text, kAddressInText), kIdsWithAddress.count(id) ? 1u : 0u)
                << "address and closing slash";
            EXPECT_EQ(Count(text, L"\u00AE"), Count(English().at(id), L"\u00AE"));
        }
    }
}

TEST_P(ModuleResources, TranslationsAreInTheirLanguagesScript)
{
    for (const auto& [language, texts] : table_)
    {
        for (const auto& [id, text] : texts)
        {
            if (language == 1033 || id == IDS_CAPTION_ERROR || id == IDS_CAPTION_WARNING)
                continue; // captions are checked word for word
            SCOPED_TRACE(testing::Message()
                         << "language " << language << ", id " << id << ": " << Narrow(text));
            EXPECT_TRUE(WrittenInScriptOf(language, text));
            EXPECT_NE(text, English().at(id)) << "left in English";
        }
        // Texts that are the same in English are the same in every language.
        EXPECT_EQ(texts.at(IDS_CANCEL_CONFIRM_2), texts.at(IDS_CANCEL_CONFIRM)) << "language " << language;
        EXPECT_EQ(texts.at(IDS_XP_VISTA_UNSUPPORTED_WARNING), texts.at(IDS_XP_VISTA_UNSUPPORTED))
            << "language " << language;
    }
    // Simplified and traditional Chinese are two translations, not one copied.
    for (UINT id : kIds)
        EXPECT_NE(table_.at(2052).at(id), table_.at(1028).at(id)) << "id " << id;
}

TEST_P(ModuleResources, ManifestDeclaresWhatTheStubNeeds)
{
    ASSERT_EQ(ResourceNames(module_.get(), RT_MANIFEST), std::vector<WORD>{1})
        << "one manifest, CREATEPROCESS_MANIFEST_RESOURCE_ID";
    const std::vector<WORD> languages = ResourceLanguages(module_.get(), RT_MANIFEST, 1);
    ASSERT_EQ(languages.size(), 1u);
    const std::vector<uint8_t> bytes =
        ResourceBytes(module_.get(), RT_MANIFEST, MAKEINTRESOURCEW(1), languages[0]);
    const std::string xml =
        std::regex_replace(std::string(bytes.begin(), bytes.end()), std::regex("<!--[\\s\\S]*?-->"), "");

    const std::pair<const char*, const char*> expectations[] = {
        {"execution level asInvoker", R"(<requestedExecutionLevel\s[^>]*level\s*=\s*"asInvoker")"},
        {"Windows 10 supportedOS",
         R"(<supportedOS\s[^>]*Id\s*=\s*"\{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a\}")"},
        {"per-monitor DPI awareness (Windows 10 1607 and later)",
         R"(<dpiAwareness\s[^>]*>\s*PerMonitorV2\s*,\s*PerMonitor\s*</dpiAwareness>)"},
        {"per-monitor DPI awareness (older systems)", R"(<dpiAware\s[^>]*>\s*true/pm\s*</dpiAware>)"},
        {"Common Controls version 6",
         R"(<assemblyIdentity\s[^>]*name\s*=\s*"Microsoft\.Windows\.Common-Controls"[^>]*version\s*=\s*"6\.0\.0\.0")"},
    };
    for (const auto& [what, pattern] : expectations)
        EXPECT_TRUE(std::regex_search(xml, std::regex(pattern))) << what << "\n" << xml;
}

#pragma pack(push, 2)
struct GroupIconHeader
{
    WORD reserved, type, count;
};
struct GroupIconEntry
{
    BYTE width, height, colorCount, reserved;
    WORD planes, bitCount;
    DWORD bytesInResource;
    WORD id;
};
#pragma pack(pop)

uint32_t BigEndian32(const uint8_t* p)
{
    return uint32_t(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3];
}

TEST_P(ModuleResources, IconGroupHoldsSevenPngImages)
{
    ASSERT_EQ(ResourceNames(module_.get(), RT_GROUP_ICON), std::vector<WORD>{IDI_APP_ICON});
    const std::vector<WORD> languages = ResourceLanguages(module_.get(), RT_GROUP_ICON, IDI_APP_ICON);
    ASSERT_EQ(languages.size(), 1u);
    const std::vector<uint8_t> group =
        ResourceBytes(module_.get(), RT_GROUP_ICON, MAKEINTRESOURCEW(IDI_APP_ICON), languages[0]);
    ASSERT_GE(group.size(), sizeof(GroupIconHeader));
    GroupIconHeader header;
    std::memcpy(&header, group.data(), sizeof header);
    EXPECT_EQ(header.type, 1);
    ASSERT_EQ(group.size(), sizeof header + header.count * sizeof(GroupIconEntry));

    std::set<int> sizes;
    for (WORD i = 0; i < header.count; ++i)
    {
        GroupIconEntry entry;
        std::memcpy(&entry, group.data() + sizeof header + i * sizeof entry, sizeof entry);
        const int size = entry.width == 0 ? 256 : entry.width;
        SCOPED_TRACE(testing::Message() << "image " << entry.id << ", " << size << " pixels");
        EXPECT_EQ(entry.width, entry.height);
        sizes.insert(size);

        const std::vector<WORD> imageLanguages = ResourceLanguages(module_.get(), RT_ICON, entry.id);
        ASSERT_EQ(imageLanguages.size(), 1u);
        const std::vector<uint8_t> image =
            ResourceBytes(module_.get(), RT_ICON, MAKEINTRESOURCEW(entry.id), imageLanguages[0]);
        EXPECT_EQ(image.size(), entry.bytesInResource);
        // PNG signature, then the IHDR chunk: width, height, bit depth, colour type.
        ASSERT_GE(image.size(), 33u);
        ASSERT_EQ(std::memcmp(image.data(), "\x89PNG\r\n\x1A\n", 8), 0) << "stored as a bitmap, not as PNG";
        ASSERT_EQ(std::memcmp(image.data() + 12, "IHDR", 4), 0);
        EXPECT_EQ(BigEndian32(image.data() + 16), uint32_t(size));
        EXPECT_EQ(BigEndian32(image.data() + 20), uint32_t(size));
        EXPECT_EQ(image[24], 8) << "8 bits per channel";
        EXPECT_EQ(image[25], 6) << "RGBA";

        // The system can make an icon of it.
        HICON icon =
            CreateIconFromResourceEx(const_cast<uint8_t*>(image.data()), static_cast<DWORD>(image.size()),
                                     TRUE, 0x00030000, size, size, LR_DEFAULTCOLOR);
        EXPECT_NE(icon, nullptr);
        DestroyIcon(icon);
    }
    EXPECT_EQ(sizes, (std::set<int>{16, 32, 48, 64, 96, 128, 256}));
    EXPECT_EQ(header.count, 7);
}

std::wstring VersionString(const std::vector<uint8_t>& info, const wchar_t* block, const wchar_t* name)
{
    wchar_t* value = nullptr;
    UINT length = 0;
    const std::wstring query = std::wstring(L"\\StringFileInfo\\") + block + L"\\" + name;
    if (!VerQueryValueW(info.data(), query.c_str(), reinterpret_cast<void**>(&value), &length) || !value)
        return L"<missing>";
    return std::wstring(value, wcsnlen(value, length));
}

TEST_P(ModuleResources, VersionResourceNamesTheStub)
{
    const DWORD size = GetFileVersionInfoSizeW(path_.c_str(), nullptr);
    ASSERT_GT(size, 0u) << "no version resource";
    std::vector<uint8_t> info(size);
    ASSERT_TRUE(GetFileVersionInfoW(path_.c_str(), 0, size, info.data()));

    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT fixedLength = 0;
    ASSERT_TRUE(VerQueryValueW(info.data(), L"\\", reinterpret_cast<void**>(&fixed), &fixedLength));
    ASSERT_EQ(fixedLength, sizeof(VS_FIXEDFILEINFO));
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDu);
    EXPECT_EQ(fixed->dwFileVersionMS, KVO_TEST_VERSION_MS);
    EXPECT_EQ(fixed->dwFileVersionLS, KVO_TEST_VERSION_LS);
    EXPECT_EQ(fixed->dwProductVersionMS, KVO_TEST_VERSION_MS);
    EXPECT_EQ(fixed->dwProductVersionLS, KVO_TEST_VERSION_LS);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_APP));

    WORD* translations = nullptr; // language, code page
    UINT translationLength = 0;
    ASSERT_TRUE(VerQueryValueW(info.data(), L"\\VarFileInfo\\Translation",
                               reinterpret_cast<void**>(&translations), &translationLength));
    ASSERT_EQ(translationLength, 2 * sizeof(WORD));
    EXPECT_EQ(translations[0], 0x0409);
    EXPECT_EQ(translations[1], 1200);

    const std::pair<const wchar_t*, const wchar_t*> fields[] = {
        {L"CompanyName", KVO_TEST_COMPANY},
        {L"ProductName", KVO_TEST_PRODUCT_NAME},
        {L"FileDescription", KVO_TEST_FILE_DESCRIPTION},
        {L"FileVersion", KVO_TEST_VERSION_TEXT},
        {L"ProductVersion", KVO_TEST_VERSION_TEXT},
        {L"OriginalFilename", KVO_TEST_ORIGINAL_FILENAME},
    };
    for (const auto& [name, expected] : fields)
        EXPECT_EQ(Narrow(VersionString(info, L"040904b0", name)), Narrow(expected)) << Narrow(name);
    EXPECT_NE(VersionString(info, L"040904b0", L"LegalCopyright").find(KVO_TEST_COMPANY), std::wstring::npos);
}

const wchar_t* const kModules[] = {KVO_TEST_MODULES};

INSTANTIATE_TEST_SUITE_P(Built, ModuleResources, ::testing::ValuesIn(kModules));
} // namespace
