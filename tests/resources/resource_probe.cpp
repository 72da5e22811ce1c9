// A do-nothing program that carries the stub's resources, so that the
// resource checks do not depend on the stub executable being built.
#include <windows.h>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    return 0;
}
