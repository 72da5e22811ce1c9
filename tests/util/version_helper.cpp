// For the process and version tests: sleeps for the seconds given as its argument.
#include <windows.h>

#include <cstdlib>

int main(int argc, char** argv)
{
    if (argc > 1)
        Sleep(static_cast<DWORD>(std::atoi(argv[1])) * 1000);
    return 0;
}
