// The title's metadata object: what the stub knows about the game it ships
// with, loaded from title.kvo and read one field at a time through getters.
#pragma once

#include "metadata/metadata_enums.h"
#include "metadata/metadata_fields.h"
#include "metadata/metadata_lists.h"
#include "metadata/metadata_log.h"
#include "metadata/metadata_status.h"

#include <cstdint>

// Getters never fail: each records a MetadataStatus (GetLastStatus) and gives
// the value its field holds, or the field's start value when it is absent.
// Texts are NUL-terminated UTF-8 and lists are references, both owned by the
// object and valid until it is cleared, reloaded or destroyed. Enumerations
// are u32 with kMetadataUnset for "no value".
class TitleMetadata
{
public:
    virtual ~TitleMetadata() = default;

    // Finds the file at `fileName` or up to three folders above (Windows
    // paths, backslash separated) and loads it.
    virtual uint32_t LoadFromFile(const char* fileName) = 0;
    // Loads plain JSON or a container; at most kMaxMetadataSize bytes.
    virtual uint32_t LoadFromMemory(const void* data, uint32_t size) = 0;
    virtual const char* GetDocumentText() = 0;
    virtual void Clear() = 0;
    virtual uint32_t GetLastStatus() = 0;

    // One getter per row of metadata_fields.def that has one.
// The key table expands here, one member a row.
// clang-format off
#define KVO_FIELD(Type, member, key, use, Getter, access)                                                    \
    KVO_IF_GETTER(access, virtual Type::Handed Getter() = 0;)
#define KVO_PLATFORMS(member, key, use, Getter, access, description)                                         \
    virtual uint32_t Getter(uint32_t platform) = 0;
#include "metadata/metadata_fields.def"
    // clang-format on

    // Keyword of the held cloudSaveRoot value; reads nothing, keeps the status.
    virtual const char* GetCloudSaveRootName() = 0;
    // True when steamAppIds lists an id.
    virtual bool HasSteamAppIds() = 0;
    // True when epicSdkVersion is above 0.
    virtual bool HasEpicConfig() = 0;
};

// A new, empty metadata object owned by the caller.
TitleMetadata* CreateTitleMetadata();

// "title.kvo"
const char* GetMetadataFileName();
