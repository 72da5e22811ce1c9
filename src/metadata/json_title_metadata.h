// The metadata object over a JSON document.
#pragma once

#include "json/json_reader.h"
#include "metadata/metadata_fields.h"
#include "metadata/title_metadata.h"

#include <string>

class JsonTitleMetadata final : public TitleMetadata
{
public:
    JsonTitleMetadata() = default;
    ~JsonTitleMetadata() override;
    JsonTitleMetadata(const JsonTitleMetadata&) = delete;
    JsonTitleMetadata& operator=(const JsonTitleMetadata&) = delete;

    uint32_t LoadFromFile(const char* fileName) override;
    uint32_t LoadFromMemory(const void* data, uint32_t size) override;
    const char* GetDocumentText() override { return text.c_str(); }
    void Clear() override;
    uint32_t GetLastStatus() override { return lastStatus; }

// The key table expands here, one member a row.
// clang-format off
#define KVO_FIELD(Type, member, key, use, Getter, access) KVO_GETTER_##access(Type, member, Getter)
#define KVO_GETTER_Read(Type, member, Getter)                                                                \
    Type::Handed Getter() override { return Read(fields.member); }
#define KVO_GETTER_Own(Type, member, Getter) Type::Handed Getter() override;
#define KVO_GETTER_None(Type, member, Getter)
#define KVO_PLATFORMS(member, key, use, Getter, access, description)                                         \
    uint32_t Getter(uint32_t platform) override;
#include "metadata/metadata_fields.def"
#undef KVO_GETTER_Read
#undef KVO_GETTER_Own
#undef KVO_GETTER_None
    // clang-format on
    const char* GetCloudSaveRootName() override
    {
        return CloudSaveRootKeyword(fields.cloudSaveRoot.Value());
    }
    bool HasSteamAppIds() override
    {
        return GetSteamAppIds().Count() != 0;
    }
    bool HasEpicConfig() override;

    // The step behind every getter: parses the field on its first successful read.
    uint32_t ReadField(MetadataField& field);
    // Reads every field once after a parse, so that a missing required field
    // fails the load. Ok once every required field was read; an invalid
    // optional field is logged and keeps its value.
    uint32_t ReadAllFields();

    const MetadataFieldTable& Fields() const
    {
        return fields;
    }

private:
    // Parses the member found for `field` (null: the document has none).
    uint32_t ParseMember(MetadataField& field, const JsonReader* member);

    template <typename Field>
    typename Field::Handed Read(Field& field)
    {
        lastStatus = ReadField(field);
        return field.Get();
    }

    // Valid only after a parse has succeeded; over `text`, or over an empty
    // object once cleared, so that it never points at released text.
    JsonReader document;
    std::string text;
    MetadataFieldTable fields;
    uint32_t lastStatus = MetadataStatus::Ok;
};
