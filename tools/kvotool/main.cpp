// kvotool: authors, checks, packs and unpacks the title metadata file.
#include "cli.h"
#include "commands.h"
#include "doc_log.h"
#include "file_io.h"
#include "help.h"
#include "suggest.h"
#include "version.h"

#include <cstdio>
#include <string>
#include <vector>

#ifdef _WIN32
#include "util/system_library.h"
#endif

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
        std::fputs(GeneralHelp(Commands()).c_str(), stderr);
        return ExitUsage;
    }
    const std::string name = args[1];
    if (name == "-h" || name == "--help")
    {
        std::fputs(GeneralHelp(Commands()).c_str(), stdout);
        return ExitOk;
    }
    if (name == "--version")
    {
        std::puts(ToolVersionLine());
        return ExitOk;
    }
    if (const CommandSpec* command = FindCommand(name))
        return Dispatch(*command, std::vector<std::string>(args.begin() + 2, args.end()));

    std::vector<std::string> names;
    for (const CommandSpec& command : Commands())
        names.emplace_back(command.name);
    const std::string closest = ClosestMatch(name, names);
    std::fprintf(stderr, "kvotool: unknown command '%s'%s\n", name.c_str(),
                 closest.empty() ? "" : ("; did you mean '" + closest + "'?").c_str());
    std::fprintf(stderr, "Try 'kvotool --help'.\n");
    return ExitUsage;
}
