// Any bytes handed to LoadFromMemory end in a status. The first byte picks
// how the rest is handed over: as it stands, or sealed in a container first
// so that the document parser behind the decryption is reached as well.
#include "metadata/metadata_container.h"
#include "metadata/title_metadata.h"
#include "support/metadata_describe.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace
{
// Touches every value the object hands out.
void ReadEverything(TitleMetadata& m)
{
    volatile size_t sink = DescribeMetadata(m).size();
    (void)sink;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxMetadataSize + 1)
        return 0;
    std::unique_ptr<TitleMetadata> metadata(CreateTitleMetadata());
    const uint8_t* body = data + 1;
    uint32_t bodySize = static_cast<uint32_t>(size - 1);
    if (data[0] & 1)
    {
        std::vector<uint8_t> container;
        if (EncodeContainer(body, bodySize, container) != 0)
            __builtin_trap();
        metadata->LoadFromMemory(container.data(), static_cast<uint32_t>(container.size()));
    }
    else
    {
        metadata->LoadFromMemory(body, bodySize);
    }
    ReadEverything(*metadata);
    // A second load over the first, then a clear, must leave nothing dangling.
    metadata->LoadFromMemory(body, bodySize);
    ReadEverything(*metadata);
    metadata->Clear();
    ReadEverything(*metadata);
    return 0;
}
