// The one way the stub starts programs: through the shell.
#pragma once

// elevate selects the verb "runas" instead of "open". With waitForExit the
// call blocks until the program has ended and succeeds only for exit code 0.
bool LaunchProcess(const wchar_t* file, const wchar_t* parameters, bool elevate, bool waitForExit);
