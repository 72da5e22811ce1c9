// Holds a file open, as another program of the player's might, until its
// standard input closes: hold_open.exe PATH. Prints "held" once it holds it.
#include <windows.h>

#include <cstdio>

int wmain(int argc, wchar_t** argv)
{
    if (argc != 2)
        return 2;
    HANDLE file = CreateFileW(argv[1], GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return 1;
    std::puts("held");
    std::fflush(stdout);
    while (std::getchar() != EOF)
    {
    }
    CloseHandle(file);
    return 0;
}
