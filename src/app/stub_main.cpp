// The launch stub's entry point.
#include "app/main_flow.h"

#include <windows.h>

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, PWSTR commandLine, int /*show*/)
{
    return RunStub(commandLine);
}
