// The store front's installer, run elevated before the launcher starts.
#pragma once

// True to go on with the launch; false when an installer failed, after the
// error box has been shown.
bool RunPlatformInstallers();
