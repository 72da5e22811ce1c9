// kvotool: authors, checks, packs and unpacks the title metadata file.
#include "cli.h"
#include "commands.h"
#include "doc_log.h"
#include "file_io.h"
#include "help.h"
#include "version.h"
#include "suggest.h"

#include <cstdio>
#include <string>
#include <vector>

#ifdef _WIN32
#include "util/system_library.h"
#endif

namespace kvotool
{
int UsageError(const std::string& command, const std::string& message)
{
    std::fprintf(stderr, "kvotool %s: %s\n", command.c_str(), message.c_str());
    std::fprintf(stderr, "Try 'kvotool %s --help'.\n", command.c_str());
    return ExitUsage;
}

int PrintCommandHelp(const std::string& command)
{
    std::fputs(CommandHelp(command), stdout);
    return ExitOk;
}

int ParseCommandArguments(const std::string& command, const std::vector<std::string>& args,
                          const std::vector<OptionDef>& defs, ParsedArguments& parsed, uint8_t* key,
                          const uint8_t** keyOut)
{
    std::string error;
    if (!ParseArguments(args, 0, defs, parsed, error))
        return UsageError(command, error);
    if (parsed.Has("help"))
        return PrintCommandHelp(command);
    if (key && parsed.Has("key"))
    {
        if (!ParseHexKey(parsed.Value("key"), key))
            return UsageError(command, "--key needs 64 hexadecimal digits");
        if (keyOut)
            *keyOut = key;
    }
    return -1;
}
} // namespace kvotool

int main(int argc, char** argv)
{
    using namespace kvotool;
#ifdef _WIN32
    // kvotool.exe is often run from a game folder: load nothing from there.
    RestrictDllSearchToSystemFolder();
#endif
    SetBinaryStdio();
    InstallLogCapture();
    std::vector<std::string> args = GetUtf8Arguments(argc, argv);
    if (args.size() < 2)
    {
        std::fputs(GeneralHelp(), stderr);
        return ExitUsage;
    }
    const std::string command = args[1];
    std::vector<std::string> rest(args.begin() + 2, args.end());
    if (command == "-h" || command == "--help")
    {
        std::fputs(GeneralHelp(), stdout);
        return ExitOk;
    }
    if (command == "--version")
    {
        std::puts(ToolVersionLine());
        return ExitOk;
    }
    if (command == "help")
    {
        if (rest.empty() || rest[0] == "--help" || rest[0] == "-h")
        {
            std::fputs(GeneralHelp(), stdout);
            return ExitOk;
        }
        if (!CommandHelp(rest[0]))
            return UsageError("help", "unknown command '" + rest[0] + "'");
        return PrintCommandHelp(rest[0]);
    }
    if (command == "check")
        return RunCheck(rest);
    if (command == "pack")
        return RunPack(rest);
    if (command == "unpack")
        return RunUnpack(rest);
    if (command == "show")
        return RunShow(rest);
    if (command == "fmt")
        return RunFmt(rest);
    if (command == "new")
        return RunNew(rest);
    if (command == "doctor")
        return RunDoctor(rest);

    std::vector<std::string> names;
    for (const char* const* n = CommandNames(); *n; ++n)
        names.emplace_back(*n);
    std::string closest = ClosestMatch(command, names);
    std::fprintf(stderr, "kvotool: unknown command '%s'%s\n", command.c_str(),
                 closest.empty() ? "" : ("; did you mean '" + closest + "'?").c_str());
    std::fprintf(stderr, "Try 'kvotool --help'.\n");
    return ExitUsage;
}
