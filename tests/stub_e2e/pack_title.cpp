// Wraps a plain metadata text into the encrypted title.kvo container:
//   stub_pack_title <plain json file> <container file>
// Used to prepare the sample game folder of scripts/run-stub.sh.
#include "metadata/metadata_container.h"
#include "util/win_handle.h"

#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv)
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: stub_pack_title <plain json file> <container file>\n");
        return 2;
    }
    FileHandle in(CreateFileW(argv[1], GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                              nullptr));
    if (!in)
    {
        std::fprintf(stderr, "cannot open %ls\n", argv[1]);
        return 1;
    }
    std::string text;
    char buffer[4096];
    DWORD read = 0;
    while (ReadFile(in.Get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
        text.append(buffer, read);

    std::vector<uint8_t> container;
    if (EncodeContainer(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()), container) !=
        0)
    {
        std::fprintf(stderr, "encryption failed\n");
        return 1;
    }
    FileHandle out(CreateFileW(argv[2], GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!out || !WriteFile(out.Get(), container.data(), static_cast<DWORD>(container.size()), &written, nullptr) ||
        written != container.size())
    {
        std::fprintf(stderr, "cannot write %ls\n", argv[2]);
        return 1;
    }
    return 0;
}
