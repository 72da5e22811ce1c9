#include "metadata/json_title_metadata.h"
#include "metadata/metadata_search.h"

#include "util/files.h"
#include "util/text_convert.h"

namespace
{
// Log text is UTF-8; the runtime's "%ls" would convert through the ANSI code page.
std::string ForLog(const std::wstring& path)
{
    return ToUtf8(path);
}
} // namespace

uint32_t JsonTitleMetadata::LoadFromFile(const char* fileName)
{
    if (!fileName)
        fileName = "";
    MetadataLog(Verbose, "Loading file from disk: %s", fileName);
    const std::wstring asked = ToWide(fileName);
    if (asked.find(L'\\') == std::wstring::npos) // no folder part, so no place to look
    {
        MetadataLog(Error, "No filename passed in: %s", ForLog(asked).c_str());
        return MetadataStatus::NoMetadata;
    }

    std::wstring path;
    const auto tryPlace = [&path](const std::wstring& place)
    {
        if (FileExists(place))
        {
            path = place;
            return true;
        }
        MetadataLog(Error, "Metadata file does not exist: %s", ForLog(place).c_str());
        return false;
    };
    if (!VisitMetadataPlaces(asked, L'\\', tryPlace))
        return MetadataStatus::NoMetadata;

    uint64_t size = 0;
    if (!QueryFileSize(path, size))
        return MetadataStatus::NoMetadata;
    if (size > kMaxMetadataSize)
        return MetadataStatus::TooLarge;
    std::vector<uint8_t> bytes;
    if (!ReadWholeFile(path, bytes))
    {
        MetadataLog(Error, "Failed to read file: %s", ForLog(path).c_str());
        return MetadataStatus::ReadFailed;
    }
    // The file may have grown between the size query and the read.
    uint32_t status = bytes.size() > kMaxMetadataSize
                          ? static_cast<uint32_t>(MetadataStatus::TooLarge)
                          : LoadFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()));
    if (status != MetadataStatus::Ok)
        MetadataLog(Error, "Failed to parse metadata from file: %s", ForLog(path).c_str());
    return status;
}
