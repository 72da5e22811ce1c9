#include "launch/external_platform.h"
#include "launch/launcher_switches.h"

#include "app/launcher_location.h"
#include "app/title_metadata_access.h"
#include "log/stub_log.h"
#include "metadata/metadata_enums.h"

#include <windows.h>

#include <cstdint>

namespace
{
// Decimal digits of an app id; the stub keeps the wide formatted-output
// runtime out of its executable for this one number.
std::wstring ToDecimal(uint64_t value)
{
    wchar_t digits[24];
    size_t at = sizeof digits / sizeof digits[0];
    do
    {
        digits[--at] = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return std::wstring(digits + at, digits + sizeof digits / sizeof digits[0]);
}
// " -switch=titleId", the switch taken from the table kvotool checks with.
void AppendTitleId(std::wstring& commandLine, uint32_t platform)
{
    commandLine += L' ';
    for (const char* c = TitleIdSwitch(platform); *c; ++c)
        commandLine += static_cast<wchar_t>(*c);
    commandLine += GetTitleIdText();
}
} // namespace

void AppendExternalPlatformArgs(std::wstring& commandLine, const std::wstring& targetFolder)
{
    TitleMetadata& metadata = TheTitleMetadata();
    switch (metadata.GetGamePlatform())
    {
    case GamePlatform::Default:
        AppendTitleId(commandLine, metadata.GetGamePlatform());
        break;
    case GamePlatform::Steam:
    {
        StubLog::Printf("Preparing Steam launch");
        const AppIdList& appIds = metadata.GetSteamAppIds();
        // An empty list has no first id to pass; the location still goes.
        if (appIds.Count() > 0)
        {
            commandLine += L" -steamAppId=";
            commandLine += ToDecimal(appIds.At(appIds.Begin().index));
        }
        std::wstring location;
        GetTargetFolder(location); // on failure the quotes stand empty
        commandLine += L" -steamLocation \"";
        commandLine += location;
        commandLine += L"\"";
        break;
    }
    case GamePlatform::Viveport:
        AppendTitleId(commandLine, metadata.GetGamePlatform());
        commandLine += L" -viveportLocation \"";
        commandLine += targetFolder;
        commandLine += L"\"";
        SetEnvironmentVariableW(L"ViveportLocation", targetFolder.c_str());
        break;
    case GamePlatform::Oculus:
        AppendTitleId(commandLine, metadata.GetGamePlatform());
        break;
    case GamePlatform::Epic:
        StubLog::Printf("Preparing Epic launch");
        AppendTitleId(commandLine, metadata.GetGamePlatform());
        break;
    default: // disk and anything unknown
        StubLog::Printf("Unknown External Platform Launch");
        break;
    }
}
