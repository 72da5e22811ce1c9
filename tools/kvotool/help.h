// Usage texts of the tool and of each command.
#pragma once

#include <string>

namespace kvotool
{
// The overview printed by "kvotool --help".
const char* GeneralHelp();
// The text of "kvotool COMMAND --help"; null for an unknown command.
const char* CommandHelp(const std::string& command);
// The known command names, for suggestions.
const char* const* CommandNames();
} // namespace kvotool
