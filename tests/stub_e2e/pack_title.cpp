// Wraps a plain metadata text into the encrypted title.kvo container (for the
// sample game folder of scripts/run-stub.sh).
#include "metadata/metadata_container.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv)
{
    if (argc != 3)
        return std::fprintf(stderr, "usage: stub_pack_title <plain json file> <container file>\n"), 2;
    std::ifstream in(std::filesystem::path(argv[1]), std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(in), {});
    std::vector<uint8_t> container;
    if (!in || EncodeContainer(reinterpret_cast<const uint8_t*>(text.data()),
                               static_cast<uint32_t>(text.size()), container) != 0)
        return std::fprintf(stderr, "cannot read or encrypt %ls\n", argv[1]), 1;
    std::ofstream out(std::filesystem::path(argv[2]), std::ios::binary);
    if (!out.write(reinterpret_cast<const char*>(container.data()),
                   static_cast<std::streamsize>(container.size())) ||
        !out.flush())
        return std::fprintf(stderr, "cannot write %ls\n", argv[2]), 1;
    return 0;
}
