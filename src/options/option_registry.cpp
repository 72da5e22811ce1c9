#include "options/option_registry.h"
#include "options/switches.h"

#include "log/stub_log.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include <windows.h>
#include <shellapi.h>

namespace
{
// The arguments CommandLineToArgvW splits out, in the array it allocates.
class LocalArgv
{
public:
    explicit LocalArgv(const wchar_t* text) : m_Argv(CommandLineToArgvW(text, &m_Count))
    {
        if (!m_Argv)
            m_Count = 0;
    }

    int Count() const { return m_Count; }
    const wchar_t* At(int i) const { return m_Argv.Get()[i]; }

private:
    int m_Count = 0;
    LocalMemory<LPWSTR*> m_Argv;
};
} // namespace

OptionRegistry& OptionRegistry::Instance()
{
    static OptionRegistry registry;
    return registry;
}

void OptionRegistry::Register(CommandLineSwitch* commandLineSwitch)
{
    if (commandLineSwitch)
        m_Switches.push_back(commandLineSwitch);
}

void OptionRegistry::Parse(const wchar_t* commandLine)
{
    if (!commandLine)
        return;
    std::wstring lowered(commandLine);
    ToLowerInPlace(lowered);

    // An empty text yields the running executable's path as the one argument;
    // it is scanned like any other.
    LocalArgv argv(lowered.c_str());
    std::vector<std::wstring> args;
    args.reserve(static_cast<size_t>(argv.Count()));
    for (int i = 0; i < argv.Count(); ++i)
        args.emplace_back(argv.At(i));

    StubLog::Printf("Processing %d command line arguments", argv.Count());
    for (CommandLineSwitch* commandLineSwitch : m_Switches)
        MatchSwitch(*commandLineSwitch, args);
}

void OptionRegistry::MatchSwitch(CommandLineSwitch& commandLineSwitch, const std::vector<std::wstring>& args)
{
    const std::wstring& name = commandLineSwitch.Name();
    const size_t count = args.size();
    for (size_t i = 0; i < count; ++i)
    {
        // The name may occur anywhere inside an argument.
        const size_t found = args[i].find(name);
        if (found == std::wstring::npos)
            continue;
        const std::wstring* source = &args[i];
        size_t start = found + name.size();
        if (start < source->size())
        {
            // Exactly one separator character is skipped, whatever it is.
            ++start;
        }
        else if (commandLineSwitch.TakesValue() && i + 1 < count && !args[i + 1].empty() &&
                 args[i + 1][0] != L'-')
        {
            source = &args[i + 1];
            start = 0;
            ++i; // this switch does not look at its value argument again
        }
        const std::wstring value = source->substr(start);
        StubLog::Printf(" %ls=%ls", name.c_str(), value.c_str());
        commandLineSwitch.SetValue(value);
    }
}

// Defined beside the registry so that every program that parses also links
// them; within this file the order of definition is the order of registration.
namespace Switches
{
RegisteredSwitch<ValueSwitch> ForceLauncherPath(L"-forceLauncherPath");
RegisteredSwitch<ValueSwitch> ForceTargetPath(L"-forceTargetPath");
RegisteredSwitch<FlagSwitch> StubLogEnabled(L"-stub_log");
RegisteredSwitch<FlagSwitch> LaunchDirectly(L"-launchDirectly");
RegisteredSwitch<FlagSwitch> ForceXpVistaFailure(L"-forceXpVistaFailure");
RegisteredSwitch<FlagSwitch> ForceXpVistaSuccess(L"-forceXpVistaSuccess");
RegisteredSwitch<FlagSwitch> ForceSP1Failure(L"-forceSP1Failure");
RegisteredSwitch<FlagSwitch> ForceSP1Success(L"-forceSP1Success");
RegisteredSwitch<FlagSwitch> Force64Bit(L"-force64Bit");
RegisteredSwitch<FlagSwitch> Force32Bit(L"-force32Bit");
RegisteredSwitch<FlagSwitch> ForceOldKvoFailure(L"-forceOldKvoFailure");
RegisteredSwitch<FlagSwitch> SkipInstallers(L"-skipInstallers");
RegisteredSwitch<FlagSwitch> ForcePrereleaseCheck(L"-forcePrereleaseCheck");
RegisteredSwitch<FlagSwitch> SkipPrereleaseCheck(L"-skipPrereleaseCheck");
RegisteredSwitch<FlagSwitch> SlashF(L"/F");
} // namespace Switches
