#include "help.h"

#include <cstring>

namespace kvotool
{
namespace
{
struct CommandText
{
    const char* name;
    const char* text;
};

const CommandText kCommands[] = {
    {"check", "usage: kvotool check [options] FILE...\n"
              "\n"
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
              "It ends with the stub's own verdict: whether the stub loads the file.\n"
              "\n"
              "options:\n"
              "  --key HEX      open containers with this key (64 hexadecimal digits)\n"
              "                 instead of the key built into kvotool\n"
              "  --equals       the text may use the relaxed equals syntax, which the\n"
              "                 stub reads inside a container only: skip the strict JSON\n"
              "                 check and judge the file as it will be once packed\n"
              "  --strict       count warnings as problems (exit status 1)\n"
              "  -v, --verbose  also show the lines the stub itself would log\n"
              "  -q, --quiet    print nothing but the problems\n"
              "  --format FORMAT\n"
              "                 text (the default, on standard error), json (one\n"
              "                 document: each file's findings and verdict) or sarif\n"
              "                 (SARIF 2.1.0, for code-review tools); json and sarif go\n"
              "                 to standard output\n"
              "  -o, --output FILE\n"
              "                 write the report to FILE instead ('-' standard output)\n"
              "  -h, --help     show this text\n"
              "\n"
              "FILE '-' reads standard input.\n"
              "\n"
              "exit status: 0 no errors, 1 errors found (or warnings with --strict),\n"
              "2 bad command line or unreadable file.\n"},
    {"doctor", "usage: kvotool doctor [options] GAME_FOLDER\n"
               "\n"
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
               "but looks unintended is a warning.\n"
               "\n"
               "options:\n"
               "  --stub NAME.exe    the stub's file within the game folder (default\n"
               "                     PlayGame.exe; a path such as bin\\Game.exe is fine)\n"
               "  --key HEX          also try this key on a container the built-in key\n"
               "                     does not open\n"
               "  --installer-signer CERT  judge the installer as a stub that trusts this\n"
               "                     signer's key would (PEM or DER; repeatable): an\n"
               "                     installer it refuses is an error\n"
               "  --installer-keys HEX;HEX  the same with SHA-256 values of signer keys\n"
               "  --strict           count warnings as problems (exit status 1)\n"
               "  --format FORMAT    text (default), json or sarif, as for 'check'\n"
               "  -o, --output FILE  write the report to FILE ('-' standard output)\n"
               "  -h, --help         show this text\n"
               "\n"
               "exit status: 0 no errors, 1 errors found (or warnings with --strict),\n"
               "2 bad command line or unreadable folder.\n"},
    {"pack", "usage: kvotool pack [options] IN.json -o title.kvo\n"
             "\n"
             "Checks IN.json like 'kvotool check' and, when it has no errors, writes it\n"
             "unchanged into an encrypted container. The same text always gives the same\n"
             "container bytes. The output is replaced only when everything succeeded.\n"
             "\n"
             "options:\n"
             "  -o, --output FILE  the container to write (required; '-' for standard\n"
             "                     output)\n"
             "  --key HEX          encrypt with this key (64 hexadecimal digits) instead\n"
             "                     of the built-in one, for a stub built with it; a\n"
             "                     container given as input is opened with it too\n"
             "  --force            write even when the check found errors (the exit\n"
             "                     status is still 1)\n"
             "  --equals           the text may use the relaxed equals syntax\n"
             "  --strict           refuse warnings too\n"
             "  -q, --quiet        print nothing but the problems\n"
             "  -h, --help         show this text\n"
             "\n"
             "exit status: 0 written, 1 refused because of problems, 2 bad command line\n"
             "or a file could not be read or written.\n"},
    {"unpack", "usage: kvotool unpack [options] title.kvo [-o OUT.json]\n"
               "\n"
               "Writes the decrypted text of a container unchanged (a plain JSON file is\n"
               "copied as it is). Without -o the text goes to standard output.\n"
               "\n"
               "options:\n"
               "  -o, --output FILE  the file to write ('-' for standard output)\n"
               "  --key HEX          decrypt with this key instead of the built-in one\n"
               "  -h, --help         show this text\n"
               "\n"
               "exit status: 0 written, 1 the file is no readable metadata, 2 bad command\n"
               "line or a file could not be read or written.\n"},
    {"show", "usage: kvotool show [options] FILE\n"
             "\n"
             "Loads FILE through the metadata object exactly as the launch stub does and\n"
             "prints the load status, then every field as the stub's getters answer it:\n"
             "the value and the status of the read (Ok, OptionalFieldMissing, ...),\n"
             "and the feature mask of each platform with the features by name.\n"
             "\n"
             "options:\n"
             "  --key HEX          decrypt with this key instead of the built-in one\n"
             "  --text             print the (decrypted) document text first\n"
             "  -o, --output FILE  write to FILE instead of standard output\n"
             "  -h, --help         show this text\n"
             "\n"
             "FILE '-' reads standard input.\n"
             "\n"
             "exit status: 0 the stub loads the file, 1 it does not, 2 bad command line\n"
             "or unreadable file.\n"},
    {"fmt", "usage: kvotool fmt [options] IN [-o OUT]\n"
            "\n"
            "Reads a document (JSON or the equals syntax, plain or in a container) and\n"
            "writes it again through the writer: JSON by default, the equals syntax\n"
            "with --equals. Without -o the text goes to standard output.\n"
            "\n"
            "options:\n"
            "  -o, --output FILE  the file to write ('-' for standard output)\n"
            "  --equals           write the equals syntax\n"
            "  --compact          everything on one line (default: one element per line,\n"
            "                     indented with tabs; --pretty is accepted for that)\n"
            "  --key HEX          decrypt a container with this key\n"
            "  -h, --help         show this text\n"
            "\n"
            "exit status: 0 written, 1 the input cannot be read as a document, 2 bad\n"
            "command line or a file could not be read or written.\n"},
    {"new", "usage: kvotool new [options] -o FILE\n"
            "\n"
            "Writes a template document with every required field and the store\n"
            "front, to be filled in (the README explains each key). An existing FILE\n"
            "is not replaced unless --force is given.\n"
            "\n"
            "options:\n"
            "  -o, --output FILE  the file to write ('-' for standard output)\n"
            "  --force            replace an existing file\n"
            "  -h, --help         show this text\n"
            "\n"
            "exit status: 0 written, 2 bad command line or the file could not be written.\n"},
};

const char* const kNames[] = {"check", "doctor", "pack", "unpack", "show", "fmt", "new", "help", nullptr};
} // namespace

const char* GeneralHelp()
{
    return "usage: kvotool COMMAND [options] [arguments]\n"
           "\n"
           "Authors, checks, packs and unpacks the title metadata file title.kvo.\n"
           "\n"
           "commands:\n"
           "  check FILE...              check documents as the launch stub reads them\n"
           "  doctor GAME_FOLDER         what the stub will do in a game's install folder\n"
           "  pack IN.json -o title.kvo  check, then write the encrypted container\n"
           "  unpack title.kvo [-o OUT]  write the decrypted text\n"
           "  show FILE                  every field as the stub sees it, with its status\n"
           "  fmt IN [-o OUT]            rewrite a document (--equals, --compact)\n"
           "  new -o FILE                write a template with every required field\n"
           "  help [COMMAND]             show this text or a command's text\n"
           "\n"
           "'kvotool COMMAND --help' describes a command and its options;\n"
           "'kvotool --version' prints the version. A file\n"
           "named '-' is standard input, and '-o -' writes standard output.\n"
           "Messages go to standard error. Exit status: 0 all is well, 1 the input\n"
           "has problems, 2 bad command line or a file could not be read or written.\n";
}

const char* CommandHelp(const std::string& command)
{
    if (command == "help")
        return GeneralHelp();
    for (const auto& c : kCommands)
        if (command == c.name)
            return c.text;
    return nullptr;
}

const char* const* CommandNames()
{
    return kNames;
}
} // namespace kvotool
