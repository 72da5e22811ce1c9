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
    const char* valueName = nullptr;   // for the help: "FILE", "HEX"; takesValue options only
    const char* description = nullptr; // for the help, wrapped there
};

struct ParsedArguments
{
    std::map<std::string, std::string> values; // options with a value, by long name (the last given)
    std::map<std::string, std::vector<std::string>> repeated; // every value of each, in order
    std::map<std::string, int> flags;                         // options without a value: how often given
    std::vector<std::string> positionals;

    bool Has(const std::string& name) const { return flags.count(name) || values.count(name); }
    std::string Value(const std::string& name, const std::string& fallback = std::string()) const
    {
        auto it = values.find(name);
        return it == values.end() ? fallback : it->second;
    }
    // Every value given for a repeatable option, in order.
    std::vector<std::string> Values(const std::string& name) const
    {
        auto it = repeated.find(name);
        return it == repeated.end() ? std::vector<std::string>() : it->second;
    }
};

// Parses args[start..]: "--name value", "--name=value", "-x value", "-xvalue",
// "--" ending the options, and "-" as a positional (standard input or output).
// An unknown option fails with the closest known one suggested.
bool ParseArguments(const std::vector<std::string>& args, size_t start, const std::vector<OptionDef>& defs,
                    ParsedArguments& parsed, std::string& error);

// Reads a 32-byte key given as 64 hexadecimal digits.
bool ParseHexKey(const std::string& text, uint8_t key[32]);

// Reads a key kept in a file or the environment: 64 hexadecimal digits, with
// blanks and line breaks anywhere ignored (as scripts/release.sh reads it).
// On failure `error` says what is wrong without repeating the text, which
// may be most of a key.
bool ParseKeyText(const std::string& text, uint8_t key[32], std::string& error);

struct Invocation;

// One of the tool's commands: everything dispatch, "kvotool help", the
// command's --help and the did-you-mean suggestions need.
struct CommandSpec
{
    const char* name;
    const char* arguments;          // the usage line after "[options]", such as "FILE..."
    const char* summary;            // one line, for the overview
    const char* description;        // the text between the usage line and the options
    std::vector<OptionDef> options; // without -h/--help, which every command has
    const char* epilogue;           // notes and exit statuses after the options
    int (*run)(const Invocation& invocation);
};

// A command as called: its parsed arguments and the container key given, if any.
struct Invocation
{
    const CommandSpec& command;
    ParsedArguments args;
    bool hasKey = false;
    uint8_t key[32] = {};
    // The key given by --key, --key-file or KVOTOOL_KEY; null for the built-in one.
    const uint8_t* Key() const { return hasKey ? key : nullptr; }
};
} // namespace kvotool
