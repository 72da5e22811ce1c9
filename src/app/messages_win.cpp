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

// The languages of the message tables, each standing for its primary language
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

// The table this player's texts come from.
uint16_t PlayerTableLanguage()
{
    return MessageLanguage(GetUserDefaultUILanguage());
}
} // namespace

bool FindMessageText(const void* module, uint16_t language, uint32_t id, std::wstring& text)
{
    // FindResourceEx takes the language as asked, without the loader's own
    // choice among the languages present.
    const HMODULE handle = static_cast<HMODULE>(const_cast<void*>(module));
    const HRSRC found = FindResourceExW(handle, RT_RCDATA, MAKEINTRESOURCEW(1), language);
    const HGLOBAL loaded = found ? LoadResource(handle, found) : nullptr;
    const auto* at = loaded ? static_cast<const uint8_t*>(LockResource(loaded)) : nullptr;
    if (!at)
        return false;
    const uint8_t* const end = at + SizeofResource(handle, found);
    while (end - at >= 4)
    {
        const uint32_t recordId = at[0] | at[1] << 8;
        const int length = at[2] | at[3] << 8;
        at += 4;
        if (length > end - at)
            return false;
        if (recordId == id)
        {
            const char* utf8 = reinterpret_cast<const char*>(at);
            const int wide = MultiByteToWideChar(CP_UTF8, 0, utf8, length, nullptr, 0);
            text.resize(static_cast<size_t>(wide));
            return length == 0 ||
                   (wide > 0 && MultiByteToWideChar(CP_UTF8, 0, utf8, length, &text[0], wide) == wide);
        }
        at += length;
    }
    return false;
}

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
    const HMODULE self = GetModuleHandleW(nullptr);
    if (!FindMessageText(self, PlayerTableLanguage(), id, text))
        FindMessageText(self, kEnglish, id, text);
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
