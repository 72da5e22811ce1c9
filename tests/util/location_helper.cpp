// Reports what GetCurrentProcessLocation gives for wherever this program was
// copied to: writes the location into the file named by its argument and
// exits with 0, or exits with 1 when the call failed.
#include "util/process.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    char location[libutil::kProcessLocationSize];
    std::memset(location, 'x', sizeof location);
    bool ok = libutil::GetCurrentProcessLocation(location);
    std::FILE* out = std::fopen(argv[1], "wb");
    if (!out)
        return 3;
    // The whole text up to its zero; a failed call must leave an empty text.
    std::fwrite(location, 1, std::strlen(location), out);
    std::fclose(out);
    return ok ? 0 : 1;
}
