// Usage texts, made from the command table: the overview and each command's
// --help with its options as the table describes them.
#pragma once

#include "cli.h"

#include <string>
#include <vector>

namespace kvotool
{
// The overview printed by "kvotool --help" and "kvotool help".
std::string GeneralHelp(const std::vector<CommandSpec>& commands);
// The text of "kvotool COMMAND --help".
std::string CommandHelp(const CommandSpec& command);
// The option every command has, added by the parser and the help alike.
const OptionDef& HelpOption();
} // namespace kvotool
