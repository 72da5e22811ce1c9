// The tool's commands. Each runs with its parsed arguments (see Invocation in
// cli.h) and returns the process exit status; the table in commands.cpp
// names them, describes them and their options, and drives dispatch and help.
#pragma once

#include "cli.h"
#include "doc_report.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvotool
{
// Every command in the order "kvotool help" lists them.
const std::vector<CommandSpec>& Commands();
// The command of that name; null when there is none.
const CommandSpec* FindCommand(const std::string& name);
// Runs "kvotool COMMAND ARGS...": parses the arguments by the command's option
// table, answers --help, takes the container key (--key, --key-file or
// KVOTOOL_KEY) for commands that have --key, then runs the command.
int Dispatch(const CommandSpec& command, const std::vector<std::string>& args);

int RunCheck(const Invocation& invocation);
int RunPack(const Invocation& invocation);
int RunUnpack(const Invocation& invocation);
int RunShow(const Invocation& invocation);
int RunFmt(const Invocation& invocation);
int RunNew(const Invocation& invocation);
int RunDoctor(const Invocation& invocation);

// Prints the reports of "check" or "doctor" in `format` (text on standard
// error, documents on standard output, or to -o FILE) and gives `status`, or
// the usage status when the output could not be written.
int EmitReports(const std::string& command, const std::vector<Report>& reports, int status,
                OutputFormat format, const ParsedArguments& parsed);

// Prints "kvotool COMMAND: message" and "Try 'kvotool COMMAND --help'." on
// standard error and gives the usage exit status.
int UsageError(const std::string& command, const std::string& message);

// The writers' common rule for an existing output file: it is replaced only
// with --force. Gives true, having said so on standard error, when `out`
// exists and --force was not given; standard output ("-") is never refused.
bool RefuseExistingOutput(const Invocation& in, const std::string& out);
} // namespace kvotool
