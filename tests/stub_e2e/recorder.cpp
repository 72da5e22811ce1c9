// Stands in for the launcher, the game and the installers in the stub's
// end-to-end tests: appends how it was started to the file named by
// KVO_E2E_RECORD and exits with the code in "<own path>.exit". While the file
// named by KVO_E2E_HOLD exists it keeps running, and "<own path>.copy" (two
// lines: source, destination) is copied first, as an installer would put the
// launcher in place.
#include "util/text_convert.h"
#include "util/win_handle.h"

#include <windows.h>

#include <cstdlib>
#include <string>

namespace
{
std::wstring ModulePath()
{
    wchar_t path[4096] = {};
    const DWORD length = GetModuleFileNameW(nullptr, path, 4096);
    return std::wstring(path, length);
}

std::wstring EnvironmentValue(const wchar_t* name, const wchar_t* absent)
{
    wchar_t value[4096] = {};
    const DWORD length = GetEnvironmentVariableW(name, value, 4096);
    if (length == 0 || length >= 4096)
        return absent;
    return std::wstring(value, length);
}

bool ReadText(const std::wstring& path, std::string& text)
{
    FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;
    char buffer[4096];
    DWORD read = 0;
    text.clear();
    while (ReadFile(file.Get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
        text.append(buffer, read);
    return true;
}

void AppendRecord(const std::wstring& recordPath, const std::string& record)
{
    FileHandle file(CreateFileW(recordPath.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return;
    DWORD written = 0;
    WriteFile(file.Get(), record.data(), static_cast<DWORD>(record.size()), &written, nullptr);
}

void CopyIfAsked(const std::wstring& self)
{
    std::string text;
    if (!ReadText(self + L".copy", text))
        return;
    const size_t lineEnd = text.find('\n');
    if (lineEnd == std::string::npos)
        return;
    std::string destination = text.substr(lineEnd + 1);
    while (!destination.empty() && (destination.back() == '\n' || destination.back() == '\r'))
        destination.pop_back();
    CopyFileW(ToWide(text.substr(0, lineEnd)).c_str(), ToWide(destination).c_str(), FALSE);
}
} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    const std::wstring self = ModulePath();
    CopyIfAsked(self);

    wchar_t cwd[4096] = {};
    GetCurrentDirectoryW(4096, cwd);
    std::string record = "program=" + ToUtf8(self) + "\n";
    record += "commandLine=" + ToUtf8(GetCommandLineW()) + "\n";
    record += "cwd=" + ToUtf8(cwd) + "\n";
    record += "viveportLocation=" + ToUtf8(EnvironmentValue(L"ViveportLocation", L"<unset>")) + "\n";
    record += "end\n";
    const std::wstring recordPath = EnvironmentValue(L"KVO_E2E_RECORD", L"");
    if (!recordPath.empty())
        AppendRecord(recordPath, record);

    // Bounded, so a test that forgets the hold file cannot hang the suite.
    const std::wstring hold = EnvironmentValue(L"KVO_E2E_HOLD", L"");
    for (int i = 0; !hold.empty() && i < 1200 && GetFileAttributesW(hold.c_str()) != INVALID_FILE_ATTRIBUTES; ++i)
        Sleep(50);

    std::string exitText;
    if (ReadText(self + L".exit", exitText))
        return std::atoi(exitText.c_str());
    return 0;
}
