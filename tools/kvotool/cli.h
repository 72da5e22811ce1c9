// Command-line parsing shared by the tool's commands.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kvotool
{
// Exit statuses of every command.
enum ExitStatus : int
{
    ExitOk = 0,
    ExitProblems = 1, // the input has errors (or warnings under --strict)
    ExitUsage = 2,    // bad command line, or a file could not be read or written
};

struct OptionDef
{
    const char* longName; // without the leading "--"
    char shortName;       // 0 when the option has no one-letter form
    bool takesValue;
};

struct ParsedArguments
{
    std::map<std::string, std::string> values; // options with a value, by long name (the last given)
    std::map<std::string, std::vector<std::string>> repeated; // every value of each, in order
    std::map<std::string, int> flags;          // options without a value: how often given
    std::vector<std::string> positionals;

    bool Has(const std::string& name) const { return flags.count(name) || values.count(name); }
    std::string Value(const std::string& name, const std::string& fallback = std::string()) const
    {
        auto it = values.find(name);
        return it == values.end() ? fallback : it->second;
    }
};

// Parses args[start..]: "--name value", "--name=value", "-x value", "-xvalue",
// "--" ending the options, and "-" as a positional (standard input or output).
// An unknown option fails with the closest known one suggested.
bool ParseArguments(const std::vector<std::string>& args, size_t start, const std::vector<OptionDef>& defs,
                    ParsedArguments& parsed, std::string& error);

// Reads a 32-byte key given as 64 hexadecimal digits.
bool ParseHexKey(const std::string& text, uint8_t key[32]);
} // namespace kvotool
