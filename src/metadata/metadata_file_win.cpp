#include "metadata/json_title_metadata.h"

#include "util/files.h"
#include "util/text_convert.h"

namespace
{
// The given folder and up to three above it.
constexpr int kMaxFoldersAbove = 3;

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
    std::wstring path = ToWide(fileName);
    std::wstring folder;
    std::wstring name;
    if (!GetParentPath(path, folder) || !GetFileNamePart(path, name))
    {
        MetadataLog(Error, "No filename passed in: %s", ForLog(path).c_str());
        return MetadataStatus::NoMetadata;
    }

    for (int attempt = 0;; ++attempt)
    {
        if (FileExists(path))
            break;
        MetadataLog(Error, "Metadata file does not exist: %s", ForLog(path).c_str());
        if (attempt == kMaxFoldersAbove || folder.empty())
            return MetadataStatus::NoMetadata;
        std::wstring parent;
        if (!GetParentPath(folder, parent) || parent.empty() || parent == folder)
            return MetadataStatus::NoMetadata;
        folder = parent;
        JoinPath(folder, name, path);
    }

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
