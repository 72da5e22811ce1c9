// Carries the stub's resources without the stub's code, so that the resource
// checks do not depend on the stub executable being built.
#include <windows.h>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    return 0;
}
