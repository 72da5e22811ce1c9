#include "app/messages.h"

#include "log/stub_log.h"
#include "resources/string_ids.h"
#include "resources/support_url.h"

#include <windows.h>
#include <shellapi.h>

std::wstring TitleNameText;

namespace
{
constexpr size_t kPlaceholderLength = 11; // "~TitleName~"
} // namespace

void CALLBACK OpenSupportPage(LPHELPINFO /*helpInfo*/)
{
    // The error box stays open; each press opens the page again.
    ShellExecuteW(nullptr, L"open", kSupportUrlW, nullptr, nullptr, SW_SHOWNORMAL);
}

uint32_t ErrorTextId(LaunchError error)
{
    switch (error)
    {
    case LauncherNotFound: return IDS_LAUNCHER_NOT_FOUND;
    case TargetPathNotFound: return IDS_TARGET_PATH_NOT_FOUND;
    case LaunchFailed: return IDS_LAUNCH_FAILED;
    case PrerequisitesFailed: return IDS_PREREQUISITES_FAILED;
    case XpVistaUnsupported: return IDS_XP_VISTA_UNSUPPORTED;
    case ServicePack1Required: return IDS_SERVICE_PACK_1_REQUIRED;
    case Windows7And8Unsupported: return IDS_WINDOWS_7_8_UNSUPPORTED;
    case LauncherOutOfDate: return IDS_LAUNCHER_OUT_OF_DATE;
    case GameExecutableNotFound: return IDS_GAME_EXECUTABLE_NOT_FOUND;
    default: return IDS_GENERIC_LAUNCH_FAILED;
    }
}

uint32_t WarningTextId(LaunchError warning)
{
    switch (warning)
    {
    case XpVistaUnsupported: return IDS_XP_VISTA_UNSUPPORTED_WARNING;
    case ServicePack1Required: return IDS_SERVICE_PACK_1_REQUIRED;
    case UninstallCanceled: return IDS_UNINSTALL_CANCELED;
    default: return IDS_GENERIC_LAUNCH_FAILED;
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
    wchar_t buffer[512] = {};
    const int length = LoadStringW(GetModuleHandleW(nullptr), id, buffer, 512);
    std::wstring text;
    if (length > 0)
        text.assign(buffer, static_cast<size_t>(length));
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
    params.dwStyle = MB_OK | MB_ICONEXCLAMATION | MB_SYSTEMMODAL | MB_HELP | MB_TOPMOST;
    params.lpfnMsgBoxCallback = OpenSupportPage;
    MessageBoxIndirectW(&params);
}

void ShowWarning(LaunchError warning)
{
    const std::wstring caption = LoadMessageText(IDS_CAPTION_WARNING);
    const std::wstring text = LoadMessageText(WarningTextId(warning));
    StubLog::Printf("Warning: %ls", caption.c_str());
    StubLog::Printf("%ls", text.c_str());
    MessageBoxW(nullptr, text.c_str(), caption.c_str(), MB_OK);
}
