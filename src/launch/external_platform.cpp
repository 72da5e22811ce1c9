#include "launch/external_platform.h"

#include "app/launcher_location.h"
#include "app/title_metadata_access.h"
#include "log/stub_log.h"
#include "metadata/metadata_enums.h"

#include <windows.h>

#include <cwchar>

void AppendExternalPlatformArgs(std::wstring& commandLine, const std::wstring& targetFolder)
{
    TitleMetadata& metadata = TheTitleMetadata();
    switch (metadata.GetGamePlatform())
    {
    case GamePlatform::Default:
        commandLine += L" -minmodeApp=";
        commandLine += GetTitleIdText();
        break;
    case GamePlatform::Steam:
    {
        StubLog::Printf("Preparing Steam launch");
        const AppIdList& appIds = metadata.GetSteamAppIds();
        // An empty list has no first id to pass; the location still goes.
        if (appIds.Count() > 0)
        {
            wchar_t number[64] = {};
            swprintf(number, 64, L"%llu", static_cast<unsigned long long>(appIds.At(appIds.Begin().index)));
            commandLine += L" -steamAppId=";
            commandLine += number;
        }
        std::wstring location;
        GetTargetFolder(location); // on failure the quotes stand empty
        commandLine += L" -steamLocation \"";
        commandLine += location;
        commandLine += L"\"";
        break;
    }
    case GamePlatform::Viveport:
        commandLine += L" -viveportApp=";
        commandLine += GetTitleIdText();
        commandLine += L" -viveportLocation \"";
        commandLine += targetFolder;
        commandLine += L"\"";
        SetEnvironmentVariableW(L"ViveportLocation", targetFolder.c_str());
        break;
    case GamePlatform::Oculus:
        commandLine += L" -oculusApp=";
        commandLine += GetTitleIdText();
        break;
    case GamePlatform::Epic:
        StubLog::Printf("Preparing Epic launch");
        commandLine += L" -epicAppId=";
        commandLine += GetTitleIdText();
        break;
    default: // disk and anything unknown
        StubLog::Printf("Unknown External Platform Launch");
        break;
    }
}
