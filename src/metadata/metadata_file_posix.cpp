// Finding title.kvo follows Windows path rules (drive letters, backslashes);
// elsewhere a file is read by the caller and handed to LoadFromMemory.
#include "metadata/json_title_metadata.h"

uint32_t JsonTitleMetadata::LoadFromFile(const char* fileName)
{
    MetadataLog(Verbose, "Loading file from disk: %s", fileName ? fileName : "");
    MetadataLog(Error, "Loading from a file is only available on Windows: %s", fileName ? fileName : "");
    return MetadataStatus::NoMetadata;
}
