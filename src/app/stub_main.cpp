// The launch stub's entry point.
#include "app/main_flow.h"
#include "util/system_library.h"

#include <windows.h>

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, PWSTR commandLine, int /*show*/)
{
    // Before anything can load a DLL: the game folder is often writable by
    // players, so nothing may be loaded from it by name.
    RestrictDllSearchToSystemFolder();
    return RunStub(commandLine);
}
