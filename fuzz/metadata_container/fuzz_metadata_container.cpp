// The fuzz bytes are the plain text of a container: they are packed with the
// built-in key and the container is loaded, so that everything after the
// decryption sees the bytes as they were. Checks that opening the container
// gives the bytes back exactly, and that text recognised as plain JSON reads
// the same whether it is loaded plain or packed.
#include "log/stub_log.h"
#include "metadata/metadata_container.h"
#include "metadata/metadata_status.h"
#include "metadata/title_metadata.h"
#include "support/formatting_sink.h"
#include "support/metadata_describe.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace
{
void Fail(const char* what)
{
    fprintf(stderr, "container mismatch: %s\n", what);
    std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static bool logging = StubLog::Install(std::make_unique<FormattingSink>(), DirectFile);
    (void)logging;
    // The container adds its header, the IV and up to a block of padding.
    if (size > kMaxMetadataSize - kMinContainerSize)
        return 0;
    const uint32_t n = static_cast<uint32_t>(size);
    std::vector<uint8_t> container;
    if (EncodeContainer(data, n, container) != 0)
        Fail("the text does not pack");
    const uint32_t containerSize = static_cast<uint32_t>(container.size());
    if (DetectMetadataFormat(container.data(), containerSize) != MetadataFormat::Container)
        Fail("a packed text is not recognised as a container");
    std::string opened;
    if (OpenContainer(container.data(), containerSize, opened) != MetadataStatus::Ok ||
        opened != std::string(reinterpret_cast<const char*>(data), size))
        Fail("opening the container does not give the text back");

    std::unique_ptr<TitleMetadata> packed(CreateTitleMetadata());
    const uint32_t status = packed->LoadFromMemory(container.data(), containerSize);
    if ((size == 0) != (status == MetadataStatus::NoMetadata))
        Fail("only an empty text may load as no metadata");
    const std::string described = DescribeMetadata(*packed);

    if (DetectMetadataFormat(data, n) == MetadataFormat::PlainJson)
    {
        std::unique_ptr<TitleMetadata> plain(CreateTitleMetadata());
        if (plain->LoadFromMemory(data, n) != status)
            Fail("plain and packed loads end in different statuses");
        if (DescribeMetadata(*plain) != described)
            Fail("plain and packed loads read differently");
    }
    return 0;
}
