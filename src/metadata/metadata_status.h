// Result codes of loading the title metadata and of reading its fields.
#pragma once

#include <cstdint>

// The codes travel as u32 (getters record them, loads return them); the
// struct only scopes the names so that `MetadataStatus::Ok` reads clearly.
struct MetadataStatus
{
    enum Value : uint32_t
    {
        Ok = 0,
        FieldInvalid = 1,
        NoMetadata = 2,
        ReadFailed = 3,
        OptionalFieldMissing = 4,
        RequiredFieldMissing = 5,
        BadFormat = 6,
        IndexOutOfRange = 7,
        TooLarge = 8,
    };
};

// Largest metadata file or buffer that is loaded; exactly this size is accepted.
constexpr uint32_t kMaxMetadataSize = 8u * 1024u * 1024u;
