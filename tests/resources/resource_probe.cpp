// A small program that carries the stub's resources, so that the resource
// checks do not depend on the stub executable being built. Started with
// --manifest-effects it reports, in its exit code, what the system made of
// the application manifest it was started with.
#include "manifest_effects.h"

#include <windows.h>
#include <commctrl.h>

#include <cwchar>

namespace
{
bool ReportsWindows10()
{
    OSVERSIONINFOEXW info = {};
    info.dwOSVersionInfoSize = sizeof info;
    info.dwMajorVersion = 10;
    DWORDLONG mask = 0;
    mask = VerSetConditionMask(mask, VER_MAJORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&info, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, mask) != 0;
}

bool UsesCommonControls6()
{
    INITCOMMONCONTROLSEX init = {sizeof init, ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&init);
    // The manifest's dependency makes the loader take comctl32 from the
    // side-by-side assembly of version 6 instead of the system folder. The
    // path tells which one came; Wine's copy reports 5.81 from DllGetVersion
    // in both places.
    HMODULE comctl = GetModuleHandleW(L"comctl32.dll");
    wchar_t path[MAX_PATH] = {};
    if (!comctl || GetModuleFileNameW(comctl, path, MAX_PATH) == 0)
        return false;
    CharLowerW(path);
    return std::wcsstr(path, L"microsoft.windows.common-controls_6595b64144ccf1df_6.") != nullptr;
}
} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR commandLine, int)
{
    if (std::wcsstr(commandLine, L"--manifest-effects") == nullptr)
        return 0;
    int result = kManifestEffectsReported;
    if (ReportsWindows10())
        result |= kReportsWindows10;
    if (UsesCommonControls6())
        result |= kCommonControls6;
    return result;
}
