// Stand-in for launcher, game and installers: copies "<self>.copy" (source and
// destination lines) first, appends how it was started to $KVO_E2E_RECORD, runs
// while $KVO_E2E_HOLD exists, and exits with the code in "<self>.exit".
#include "util/text_convert.h"

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    auto environmentValue = [](const wchar_t* name, const wchar_t* absent) -> std::wstring
    {
        const wchar_t* value = _wgetenv(name);
        return value && *value ? value : absent;
    };
    wchar_t path[4096] = {};
    GetModuleFileNameW(nullptr, path, 4096);
    const std::wstring self = path;
    std::string source, destination;
    std::ifstream copy(std::filesystem::path(self + L".copy"));
    if (std::getline(copy, source) && std::getline(copy, destination))
        CopyFileW(ToWide(source).c_str(), ToWide(destination).c_str(), FALSE);

    wchar_t cwd[4096] = {};
    GetCurrentDirectoryW(4096, cwd);
    const std::wstring recordPath = environmentValue(L"KVO_E2E_RECORD", L"");
    if (!recordPath.empty())
        std::ofstream(std::filesystem::path(recordPath), std::ios::binary | std::ios::app)
            << "program=" << ToUtf8(self) << "\ncommandLine=" << ToUtf8(GetCommandLineW())
            << "\ncwd=" << ToUtf8(cwd)
            << "\nviveportLocation=" << ToUtf8(environmentValue(L"ViveportLocation", L"<unset>"))
            << "\nend\n";

    // Bounded, so a test that forgets the hold file cannot hang the suite.
    const std::wstring hold = environmentValue(L"KVO_E2E_HOLD", L"");
    for (int i = 0; !hold.empty() && i < 1200 && GetFileAttributesW(hold.c_str()) != INVALID_FILE_ATTRIBUTES;
         ++i)
        Sleep(50);

    int exitCode = 0;
    std::ifstream(std::filesystem::path(self + L".exit")) >> exitCode;
    return exitCode;
}
