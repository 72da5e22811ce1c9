// The tool's commands; each takes the arguments after its name and returns
// the process exit status.
#pragma once

#include "cli.h"
#include "doc_report.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvotool
{
int RunCheck(const std::vector<std::string>& args);
int RunPack(const std::vector<std::string>& args);
int RunUnpack(const std::vector<std::string>& args);
int RunShow(const std::vector<std::string>& args);
int RunFmt(const std::vector<std::string>& args);
int RunNew(const std::vector<std::string>& args);
int RunDoctor(const std::vector<std::string>& args);

// Prints the reports of "check" or "doctor" in `format` (text on standard
// error, documents on standard output, or to -o FILE) and gives `status`, or
// the usage status when the output could not be written.
int EmitReports(const std::string& command, const std::vector<Report>& reports, int status,
                OutputFormat format, const ParsedArguments& parsed);

// Shared by the commands: prints `message` as "kvotool: message" on standard
// error and gives the usage exit status.
int UsageError(const std::string& command, const std::string& message);
// Prints the help of `command` on standard output and gives 0.
int PrintCommandHelp(const std::string& command);
// The common start of every command: parses its arguments and answers --help.
// Gives -1 when the command goes on, otherwise the exit status to return.
// With `key`, a --key option is decoded into it and `*keyOut` points at it.
int ParseCommandArguments(const std::string& command, const std::vector<std::string>& args,
                          const std::vector<OptionDef>& defs, ParsedArguments& parsed, uint8_t* key = nullptr,
                          const uint8_t** keyOut = nullptr);
} // namespace kvotool
