#include "commands.h"

#include "file_io.h"
#include "help.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace kvotool
{
namespace
{

// The options several commands share, worded once.
const OptionDef kKeyFile = {
    "key-file", 0, true, "FILE",
    "read that key from FILE instead: 64 hexadecimal digits, blanks and line breaks "
    "ignored (make one with: openssl rand -hex 32). Without --key and --key-file the "
    "key comes from the environment variable KVOTOOL_KEY when it is set. --key on the "
    "command line shows in the process list and shell history; these do not"};
const OptionDef kForce = {"force", 0, false, nullptr, "replace an existing output file"};
const OptionDef kReportFormat = {
    "format", 0, true, "FORMAT",
    "text (the default, on standard error), json (one document: each file's "
    "findings and verdict) or sarif (SARIF 2.1.0, for code-review tools); json and "
    "sarif go to standard output"};
const OptionDef kStrict = {"strict", 0, false, nullptr, "count warnings as problems (exit status 1)"};

int RunHelp(const Invocation& in);

const std::vector<CommandSpec> kCommands = {
    {"check",
     "FILE...",
     "check documents as the launch stub reads them",
     "Checks title metadata files, plain JSON or containers, the way the launch\n"
     "stub reads them, and reports every problem at once:\n"
     "  - text that is not strict JSON, with line and character position;\n"
     "  - required fields that are missing or invalid;\n"
     "  - values that do not read as their kind (integer, boolean, text, list);\n"
     "  - keywords that are not in their table, with the closest one suggested;\n"
     "  - unknown platforms and platform features;\n"
     "  - root and prerequisite members that match no key, with the closest key\n"
     "    suggested (names starting with '_' or '$', such as \"$schema\", are\n"
     "    left alone);\n"
     "  - warnings for what the stub accepts but was probably not meant.\n"
     "It ends with the stub's own verdict: whether the stub loads the file.\n",
     {{"key", 0, true, "HEX",
       "open containers with this key (64 hexadecimal digits) instead of the key built into kvotool"},
      kKeyFile,
      {"equals", 0, false, nullptr,
       "the text may use the relaxed equals syntax, which the stub reads inside a container only: skip the "
       "strict JSON check and judge the file as it will be once packed"},
      kStrict,
      {"verbose", 'v', false, nullptr, "also show the lines the stub itself would log"},
      {"quiet", 'q', false, nullptr, "print nothing but the problems"},
      kReportFormat,
      {"output", 'o', true, "FILE", "write the report to FILE instead ('-' standard output)"}},
     "FILE '-' reads standard input.\n"
     "\n"
     "exit status: 0 no errors, 1 errors found (or warnings with --strict),\n"
     "2 bad command line or unreadable file.\n",
     RunCheck},
    {"doctor",
     "GAME_FOLDER",
     "what the stub will do in a game's install folder",
     "Looks at a game's install folder as the launch stub will see it, without\n"
     "running it, and reports in the same form as 'check':\n"
     "  - the stub executable, with its version, product and company name;\n"
     "  - which title.kvo the stub loads (it searches its own folder and up to\n"
     "    three folders above), and the full check of that file;\n"
     "  - whether the container opens with the stub's key (kvotool's built-in\n"
     "    one), and with --key HEX;\n"
     "  - the game's executable ('principalFileName', beside the stub);\n"
     "  - the store front ('gamePlatform') and the installer the stub runs for\n"
     "    it, at the path the stub uses (relative to the game folder, its\n"
     "    working directory), with the 'steamInstallerPath' fallback, and who\n"
     "    signed it (the signer's name and its key's SHA-256);\n"
     "It ends with a one-line verdict: what the stub does when the launcher is\n"
     "installed and when it is not (the registry is not read).\n"
     "Problems that the stub turns into a message box are errors; what works\n"
     "but looks unintended is a warning.\n",
     {{"stub", 0, true, "NAME.exe",
       "the stub's file within the game folder (default PlayGame.exe; a path such as bin\\Game.exe is fine)"},
      {"key", 0, true, "HEX", "also try this key on a container the built-in key does not open"},
      kKeyFile,
      {"installer-signer", 0, true, "CERT",
       "judge the installer as a stub that trusts this signer's key would (PEM or DER; repeatable): an "
       "installer it refuses is an error"},
      {"installer-keys", 0, true, "HEX;HEX", "the same with SHA-256 values of signer keys"},
      kStrict,
      {"format", 0, true, "FORMAT", "text (default), json or sarif, as for 'check'"},
      {"output", 'o', true, "FILE", "write the report to FILE ('-' standard output)"}},
     "exit status: 0 no errors, 1 errors found (or warnings with --strict),\n"
     "2 bad command line or unreadable folder.\n",
     RunDoctor},
    {"pack",
     "IN.json -o title.kvo",
     "check, then write the encrypted container",
     "Checks IN.json like 'kvotool check' and, when it has no errors, writes it\n"
     "unchanged into an encrypted container. The same text always gives the same\n"
     "container bytes. The output is replaced only when everything succeeded.\n",
     {{"output", 'o', true, "FILE", "the container to write (required; '-' for standard output)"},
      kForce,
      {"key", 0, true, "HEX",
       "encrypt with this key (64 hexadecimal digits) instead of the built-in one, for a stub built with it; "
       "a "
       "container given as input is opened with it too"},
      kKeyFile,
      {"allow-errors", 0, false, nullptr,
       "write even when the check found errors (the exit status is still 1). This was --force before; "
       "--force now only lets pack replace an existing file, as for the other commands"},
      {"equals", 0, false, nullptr, "the text may use the relaxed equals syntax"},
      {"strict", 0, false, nullptr, "refuse warnings too"},
      {"quiet", 'q', false, nullptr, "print nothing but the problems"}},
     "exit status: 0 written, 1 refused because of problems, 2 bad command line,\n"
     "an existing output file without --force, or a file could not be read or\n"
     "written.\n",
     RunPack},
    {"unpack",
     "title.kvo [-o OUT.json]",
     "write the decrypted text",
     "Writes the decrypted text of a container unchanged (a plain JSON file is\n"
     "copied as it is). Without -o the text goes to standard output.\n",
     {{"output", 'o', true, "FILE", "the file to write ('-' for standard output)"},
      kForce,
      {"key", 0, true, "HEX", "decrypt with this key instead of the built-in one"},
      kKeyFile},
     "exit status: 0 written, 1 the file is no readable metadata, 2 bad command\n"
     "line, an existing output file without --force, or a file could not be\n"
     "read or written.\n",
     RunUnpack},
    {"show",
     "FILE",
     "every field as the stub sees it, with its status",
     "Loads FILE through the metadata object exactly as the launch stub does and\n"
     "prints the load status, then every field as the stub's getters answer it:\n"
     "the value and the status of the read (Ok, OptionalFieldMissing, ...),\n"
     "and the feature mask of each platform with the features by name.\n",
     {{"key", 0, true, "HEX", "decrypt with this key instead of the built-in one"},
      kKeyFile,
      {"text", 0, false, nullptr, "print the (decrypted) document text first"},
      {"output", 'o', true, "FILE", "write to FILE instead of standard output"}},
     "FILE '-' reads standard input.\n"
     "\n"
     "exit status: 0 the stub loads the file, 1 it does not, 2 bad command line\n"
     "or unreadable file.\n",
     RunShow},
    {"fmt",
     "IN [-o OUT]",
     "rewrite a document (--equals, --compact)",
     "Reads a document (JSON or the equals syntax, plain or in a container) and\n"
     "writes it again through the writer: JSON by default, the equals syntax\n"
     "with --equals. Without -o the text goes to standard output.\n",
     {{"output", 'o', true, "FILE", "the file to write ('-' for standard output)"},
      kForce,
      {"equals", 0, false, nullptr, "write the equals syntax"},
      {"compact", 0, false, nullptr,
       "everything on one line (default: one element per line, indented with tabs)"},
      {"pretty", 0, false, nullptr, "one element per line: the default, accepted for old scripts"},
      {"key", 0, true, "HEX", "decrypt a container with this key"},
      kKeyFile},
     "exit status: 0 written, 1 the input cannot be read as a document, 2 bad\n"
     "command line, an existing output file without --force, or a file could\n"
     "not be read or written.\n",
     RunFmt},
    {"new",
     "-o FILE",
     "write a template with every required field",
     "Writes a template document with every required field and the store\n"
     "front, to be filled in (the README explains each key). An existing FILE\n"
     "is not replaced unless --force is given.\n",
     {{"output", 'o', true, "FILE", "the file to write ('-' for standard output)"}, kForce},
     "exit status: 0 written, 2 bad command line, an existing file without\n"
     "--force, or the file could not be written.\n",
     RunNew},
    {"help",
     "[COMMAND]",
     "show this text or a command's text",
     "Shows the overview of the commands, as 'kvotool --help' does, or the text\n"
     "of COMMAND, as 'kvotool COMMAND --help' does. 'kvotool --version' prints\n"
     "the version.\n",
     {},
     "exit status: 0 shown, 2 unknown command.\n",
     RunHelp},
};

int RunHelp(const Invocation& in)
{
    const auto& names = in.args.positionals;
    if (names.empty())
    {
        std::fputs(GeneralHelp(Commands()).c_str(), stdout);
        return ExitOk;
    }
    if (names.size() > 1)
        return UsageError("help", "one command at a time, please");
    const CommandSpec* command = FindCommand(names[0]);
    if (!command)
        return UsageError("help", "unknown command '" + names[0] + "'");
    std::fputs(CommandHelp(*command).c_str(), stdout);
    return ExitOk;
}

bool HasOption(const CommandSpec& command, const char* name)
{
    for (const OptionDef& option : command.options)
        if (std::string(option.longName) == name)
            return true;
    return false;
}

// The key from --key, --key-file or KVOTOOL_KEY. Two sources giving
// different keys are an error rather than a silent choice: a pipeline that
// exports one key and names another file would otherwise pack under the
// wrong one.
int TakeKey(Invocation& in)
{
    const std::string name = in.command.name;
    const ParsedArguments& args = in.args;
    if (args.Has("key") && args.Has("key-file"))
        return UsageError(name, "give either --key or --key-file, not both");
    std::string error;
    if (args.Has("key"))
    {
        if (!ParseHexKey(args.Value("key"), in.key))
            return UsageError(name, "--key needs 64 hexadecimal digits");
        std::fprintf(stderr,
                     "kvotool %s: warning: --key on the command line shows in the process list and shell "
                     "history; --key-file FILE or KVOTOOL_KEY keep it out\n",
                     name.c_str());
        in.hasKey = true;
    }
    else if (args.Has("key-file"))
    {
        const std::string path = args.Value("key-file");
        std::string text;
        if (!ReadWholeFile(path, text, error))
            return UsageError(name, "--key-file: " + error);
        if (!ParseKeyText(text, in.key, error))
            return UsageError(name, "--key-file " + path + ": " + error);
        in.hasKey = true;
    }
    const char* environment = std::getenv("KVOTOOL_KEY");
    if (!environment || !*environment)
        return -1;
    uint8_t key[32];
    if (!ParseKeyText(environment, key, error))
        return UsageError(name, "KVOTOOL_KEY: " + error);
    if (!in.hasKey)
    {
        std::copy(key, key + 32, in.key);
        in.hasKey = true;
    }
    else if (!std::equal(key, key + 32, in.key))
        return UsageError(name, std::string("KVOTOOL_KEY and ") + (args.Has("key") ? "--key" : "--key-file") +
                                    " give different keys; unset KVOTOOL_KEY or leave out the option");
    return -1;
}
} // namespace

const std::vector<CommandSpec>& Commands()
{
    return kCommands;
}

const CommandSpec* FindCommand(const std::string& name)
{
    for (const CommandSpec& command : kCommands)
        if (name == command.name)
            return &command;
    return nullptr;
}

int UsageError(const std::string& command, const std::string& message)
{
    std::fprintf(stderr, "kvotool %s: %s\n", command.c_str(), message.c_str());
    std::fprintf(stderr, "Try 'kvotool %s --help'.\n", command.c_str());
    return ExitUsage;
}

bool RefuseExistingOutput(const Invocation& in, const std::string& out)
{
    std::error_code ec;
    if (out == "-" || in.args.Has("force") || !std::filesystem::exists(std::filesystem::u8path(out), ec))
        return false;
    std::fprintf(stderr, "kvotool %s: '%s' exists; not replaced (use --force)\n", in.command.name,
                 out.c_str());
    return true;
}

int Dispatch(const CommandSpec& command, const std::vector<std::string>& args)
{
    std::vector<OptionDef> options = command.options;
    options.push_back(HelpOption());
    Invocation in{command, {}};
    std::string error;
    if (!ParseArguments(args, 0, options, in.args, error))
        return UsageError(command.name, error);
    if (in.args.Has("help"))
    {
        std::fputs(CommandHelp(command).c_str(), stdout);
        return ExitOk;
    }
    if (HasOption(command, "key"))
        if (const int status = TakeKey(in); status >= 0)
            return status;
    return command.run(in);
}
} // namespace kvotool
