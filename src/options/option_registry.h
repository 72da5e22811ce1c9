// The registry of every command-line switch and the parser of the stub's arguments.
#pragma once

#include "options/command_line_switch.h"

#include <string>
#include <vector>

class OptionRegistry
{
public:
    // The process's registry, created on first use (from a static initialiser).
    static OptionRegistry& Instance();

    // Tests build private registries; the stub uses Instance() only.
    OptionRegistry() = default;
    OptionRegistry(const OptionRegistry&) = delete;
    OptionRegistry& operator=(const OptionRegistry&) = delete;

    void Register(CommandLineSwitch* commandLineSwitch);

    // Parses the command-line text the entry point receives (without the
    // program name). Null means there is nothing to parse. Unknown arguments
    // are ignored: the stub never rejects a command line.
    void Parse(const wchar_t* commandLine);

    // Applies every occurrence of one switch in the split, lower-cased arguments.
    static void MatchSwitch(CommandLineSwitch& commandLineSwitch, const std::vector<std::wstring>& args);

    const std::vector<CommandLineSwitch*>& Switches() const { return m_Switches; }

private:
    std::vector<CommandLineSwitch*> m_Switches;
};

// A switch that registers itself with the process's registry when its static
// initialiser runs; the order of definition is the order of registration.
template <class SwitchType>
class RegisteredSwitch : public SwitchType
{
public:
    explicit RegisteredSwitch(const wchar_t* name) : SwitchType(name)
    {
        OptionRegistry::Instance().Register(this);
    }
};
