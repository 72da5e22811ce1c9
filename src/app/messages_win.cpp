#include "app/messages.h"

#include "log/stub_log.h"
#include "resources/string_ids.h"
#include "resources/support_url.h"

#include <windows.h>
// shellapi.h needs windows.h first.
#include <shellapi.h>

std::wstring TitleNameText;

namespace
{
constexpr size_t kPlaceholderLength = 11; // "~TitleName~"

constexpr LANGID kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);

// The languages of the string table, each standing for its primary language
// (Spanish, Chinese and Portuguese are chosen among two below).
constexpr LANGID kTableLanguages[] = {
    kEnglish,
    MAKELANGID(LANG_ARABIC, SUBLANG_ARABIC_SAUDI_ARABIA),
    MAKELANGID(LANG_BULGARIAN, SUBLANG_BULGARIAN_BULGARIA),
    MAKELANGID(LANG_CZECH, SUBLANG_CZECH_CZECH_REPUBLIC),
    MAKELANGID(LANG_DANISH, SUBLANG_DANISH_DENMARK),
    MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN),
    MAKELANGID(LANG_GREEK, SUBLANG_GREEK_GREECE),
    MAKELANGID(LANG_FINNISH, SUBLANG_FINNISH_FINLAND),
    MAKELANGID(LANG_FRENCH, SUBLANG_FRENCH),
    MAKELANGID(LANG_HUNGARIAN, SUBLANG_HUNGARIAN_HUNGARY),
    MAKELANGID(LANG_ITALIAN, SUBLANG_ITALIAN),
    MAKELANGID(LANG_JAPANESE, SUBLANG_JAPANESE_JAPAN),
    MAKELANGID(LANG_KOREAN, SUBLANG_KOREAN),
    MAKELANGID(LANG_DUTCH, SUBLANG_DUTCH),
    // Bokmål, Nynorsk and the neutral "no" share one primary language.
    MAKELANGID(LANG_NORWEGIAN, SUBLANG_NORWEGIAN_BOKMAL),
    MAKELANGID(LANG_POLISH, SUBLANG_POLISH_POLAND),
    MAKELANGID(LANG_ROMANIAN, SUBLANG_ROMANIAN_ROMANIA),
    MAKELANGID(LANG_RUSSIAN, SUBLANG_RUSSIAN_RUSSIA),
    MAKELANGID(LANG_SWEDISH, SUBLANG_SWEDISH),
    MAKELANGID(LANG_THAI, SUBLANG_THAI_THAILAND),
    MAKELANGID(LANG_TURKISH, SUBLANG_TURKISH_TURKEY),
    MAKELANGID(LANG_INDONESIAN, SUBLANG_INDONESIAN_INDONESIA),
    MAKELANGID(LANG_UKRAINIAN, SUBLANG_UKRAINIAN_UKRAINE),
    MAKELANGID(LANG_VIETNAMESE, SUBLANG_VIETNAMESE_VIETNAM),
};

// One text of a string-table block in the given language, without the
// loader's own choice of language; false when that language lacks the block.
bool FindStringIn(LANGID language, uint32_t id, std::wstring& text)
{
    const HMODULE module = GetModuleHandleW(nullptr);
    const HRSRC found =
        FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(static_cast<WORD>((id >> 4) + 1)), language);
    if (!found)
        return false;
    const HGLOBAL loaded = LoadResource(module, found);
    const auto* entry = loaded ? static_cast<const WCHAR*>(LockResource(loaded)) : nullptr;
    if (!entry)
        return false;
    // A block holds 16 counted texts one after the other.
    const WCHAR* end = entry + SizeofResource(module, found) / sizeof(WCHAR);
    for (uint32_t index = id & 15; entry < end; --index)
    {
        const size_t length = *entry++;
        if (length > static_cast<size_t>(end - entry))
            return false;
        if (index == 0)
        {
            text.assign(entry, length);
            return true;
        }
        entry += length;
    }
    return false;
}

// The table this player's texts come from.
uint16_t PlayerTableLanguage()
{
    return MessageLanguage(GetUserDefaultUILanguage());
}
} // namespace

uint16_t MessageLanguage(uint16_t uiLanguage)
{
    const WORD primary = PRIMARYLANGID(uiLanguage);
    const WORD sub = SUBLANGID(uiLanguage);
    switch (primary)
    {
    case LANG_SPANISH:
        // Spain, in either sort order; every other Spanish-speaking place
        // reads the Latin American text.
        return sub == SUBLANG_SPANISH || sub == SUBLANG_SPANISH_MODERN
                   ? MAKELANGID(LANG_SPANISH, SUBLANG_SPANISH_MODERN)
                   : MAKELANGID(LANG_SPANISH, SUBLANG_SPANISH_MEXICAN);
    case LANG_CHINESE:
        // Taiwan, Hong Kong, Macau and the script-only "zh-Hant" (0x7C04)
        // write Traditional characters; the mainland, Singapore and "zh-Hans"
        // Simplified ones.
        return sub == SUBLANG_CHINESE_TRADITIONAL || sub == SUBLANG_CHINESE_HONGKONG ||
                       sub == SUBLANG_CHINESE_MACAU || sub == 0x1F
                   ? MAKELANGID(LANG_CHINESE, SUBLANG_CHINESE_TRADITIONAL)
                   : MAKELANGID(LANG_CHINESE, SUBLANG_CHINESE_SIMPLIFIED);
    case LANG_PORTUGUESE:
        // Brazil has its own text; Portugal's serves every other place.
        return sub == SUBLANG_PORTUGUESE_BRAZILIAN ? MAKELANGID(LANG_PORTUGUESE, SUBLANG_PORTUGUESE_BRAZILIAN)
                                                   : MAKELANGID(LANG_PORTUGUESE, SUBLANG_PORTUGUESE);
    default:
        for (const LANGID language : kTableLanguages)
        {
            if (PRIMARYLANGID(language) == primary)
                return language;
        }
        return kEnglish;
    }
}

uint32_t ReadingOrderStyle(uint16_t tableLanguage)
{
    return PRIMARYLANGID(tableLanguage) == LANG_ARABIC ? MB_RTLREADING | MB_RIGHT : 0;
}

void CALLBACK OpenSupportPage(LPHELPINFO /*helpInfo*/)
{
    // The error box stays open; each press opens the page again.
    ShellExecuteW(nullptr, L"open", kSupportUrlW, nullptr, nullptr, SW_SHOWNORMAL);
}

uint32_t ErrorTextId(LaunchError error)
{
    switch (error)
    {
    case LauncherNotFound:
        return IDS_LAUNCHER_NOT_FOUND;
    case TargetPathNotFound:
        return IDS_TARGET_PATH_NOT_FOUND;
    case LaunchFailed:
        return IDS_LAUNCH_FAILED;
    case PrerequisitesFailed:
        return IDS_PREREQUISITES_FAILED;
    case XpVistaUnsupported:
        return IDS_XP_VISTA_UNSUPPORTED;
    case ServicePack1Required:
        return IDS_SERVICE_PACK_1_REQUIRED;
    case Windows7And8Unsupported:
        return IDS_WINDOWS_7_8_UNSUPPORTED;
    case LauncherOutOfDate:
        return IDS_LAUNCHER_OUT_OF_DATE;
    case GameExecutableNotFound:
        return IDS_GAME_EXECUTABLE_NOT_FOUND;
    default:
        return IDS_GENERIC_LAUNCH_FAILED;
    }
}

uint32_t WarningTextId(LaunchError warning)
{
    switch (warning)
    {
    case XpVistaUnsupported:
        return IDS_XP_VISTA_UNSUPPORTED_WARNING;
    case ServicePack1Required:
        return IDS_SERVICE_PACK_1_REQUIRED;
    case UninstallCanceled:
        return IDS_UNINSTALL_CANCELED;
    default:
        return IDS_GENERIC_LAUNCH_FAILED;
    }
}

std::wstring ApplyMessageTextRules(std::wstring text, const std::wstring& titleName)
{
    for (wchar_t& c : text)
    {
        if (c == L'\u00B5')
            c = L'\u00A0';
    }
    const size_t tilde = text.find(L'~');
    if (tilde != std::wstring::npos)
        text.replace(tilde, kPlaceholderLength, titleName);
    return text;
}

std::wstring LoadMessageText(uint32_t id)
{
    std::wstring text;
    if (!FindStringIn(PlayerTableLanguage(), id, text))
        FindStringIn(kEnglish, id, text);
    // A text is at most 511 characters, as the loader's fixed buffer gave.
    if (text.size() > 511)
        text.resize(511);
    return ApplyMessageTextRules(std::move(text), TitleNameText);
}

void ShowError(LaunchError error)
{
    const std::wstring caption = LoadMessageText(IDS_CAPTION_ERROR);
    const std::wstring text = LoadMessageText(ErrorTextId(error));
    StubLog::Printf("Error: %ls", caption.c_str());
    StubLog::Printf("%ls", text.c_str());

    MSGBOXPARAMSW params = {};
    params.cbSize = sizeof params;
    params.lpszText = text.c_str();
    params.lpszCaption = caption.c_str();
    params.dwStyle = MB_OK | MB_ICONEXCLAMATION | MB_SYSTEMMODAL | MB_HELP | MB_TOPMOST |
                     ReadingOrderStyle(PlayerTableLanguage());
    params.lpfnMsgBoxCallback = OpenSupportPage;
    MessageBoxIndirectW(&params);
}

void ShowWarning(LaunchError warning)
{
    const std::wstring caption = LoadMessageText(IDS_CAPTION_WARNING);
    const std::wstring text = LoadMessageText(WarningTextId(warning));
    StubLog::Printf("Warning: %ls", caption.c_str());
    StubLog::Printf("%ls", text.c_str());
    MessageBoxW(nullptr, text.c_str(), caption.c_str(), MB_OK | ReadingOrderStyle(PlayerTableLanguage()));
}
