// kvotool's version: the project's, from the build, and the commit it was
// configured from when that was a git checkout.
#pragma once

namespace kvotool
{
// "1.0.0"
const char* ToolVersion();
// "kvotool 1.0.0 (commit 0123456789ab)", or without the commit part.
const char* ToolVersionLine();
} // namespace kvotool
