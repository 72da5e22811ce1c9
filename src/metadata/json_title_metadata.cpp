#include "metadata/json_title_metadata.h"

#include "metadata/metadata_container.h"

namespace
{
// What a cleared document reads: an object without members.
const char kEmptyObject[] = "{}";
} // namespace

TitleMetadata* CreateTitleMetadata()
{
    MetadataLog(Verbose, "Creating Metadata Object");
    return new JsonTitleMetadata();
}

const char* GetMetadataFileName()
{
    return "title.kvo";
}

JsonTitleMetadata::~JsonTitleMetadata()
{
    Clear();
}

void JsonTitleMetadata::Clear()
{
    std::string().swap(text);
    // The document may point into the text just released: later lookups must
    // find no members, not read freed memory.
    if (document.IsValid())
        document.Parse(kEmptyObject, sizeof kEmptyObject - 1);
    fields.Reset();
    lastStatus = MetadataStatus::Ok;
}

uint32_t JsonTitleMetadata::ReadField(MetadataField& field)
{
    if (field.IsPresent())
        return MetadataStatus::Ok;
    if (!document.IsValid())
    {
        MetadataLog(Error, "Could not read field '%s', no metadata available.", field.GetName());
        return MetadataStatus::NoMetadata;
    }
    JsonReader member;
    if (!document.FindMember(field.GetName(), member))
        return field.IsRequired() ? MetadataStatus::RequiredFieldMissing : MetadataStatus::OptionalFieldMissing;
    if (!field.ParseValue(member))
    {
        MetadataLog(Error, "Could not read field '%s', field was not found in metadata.", field.GetName());
        return MetadataStatus::FieldInvalid;
    }
    field.MarkPresent();
    return MetadataStatus::Ok;
}

uint32_t JsonTitleMetadata::ReadAllFields()
{
    for (MetadataField* field : fields.Header())
    {
        uint32_t status = ReadField(*field);
        if (field->IsRequired() && status != MetadataStatus::Ok)
        {
            Clear();
            return status;
        }
    }
    // A negative version defers every other field to its getter.
    if (fields.metadataVersion.Value() < 0)
        return MetadataStatus::Ok;
    for (MetadataField* field : fields.Main())
    {
        uint32_t status = ReadField(*field);
        if (field->IsRequired() && status != MetadataStatus::Ok)
        {
            Clear();
            return status;
        }
    }
    return MetadataStatus::Ok;
}

uint32_t JsonTitleMetadata::LoadFromMemory(const void* data, uint32_t size)
{
    if (size > kMaxMetadataSize)
        return MetadataStatus::TooLarge;
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    std::string loaded;
    switch (DetectMetadataFormat(bytes, size))
    {
    case MetadataFormat::Container:
    {
        uint32_t status = OpenContainer(bytes, size, loaded);
        if (status != MetadataStatus::Ok)
            return status;
        break;
    }
    case MetadataFormat::PlainJson:
        loaded.assign(reinterpret_cast<const char*>(bytes), size);
        break;
    default:
        return MetadataStatus::BadFormat;
    }

    // A new load starts from a fresh object: nothing read from an earlier
    // document survives, and absent fields give their start values again.
    document.Clear();
    text.swap(loaded);
    std::string().swap(loaded);
    fields.ResetToStart();
    lastStatus = MetadataStatus::Ok;

    if (text.empty())
        return MetadataStatus::NoMetadata;
    if (!document.Parse(text.c_str(), static_cast<uint32_t>(text.size())))
    {
        Clear();
        return MetadataStatus::BadFormat;
    }
    return ReadAllFields();
}

const TextList& JsonTitleMetadata::GetModAllowList()
{
    uint32_t status = ReadField(fields.modAllowList);
    if (status == MetadataStatus::Ok)
    {
        lastStatus = status;
        return fields.modAllowList.Value();
    }
    return Read(fields.modWhitelist);
}

uint32_t JsonTitleMetadata::GetPlatformFeatures(uint32_t platform)
{
    if (platform >= GamePlatform::Count)
    {
        lastStatus = MetadataStatus::IndexOutOfRange;
        return 0;
    }
    lastStatus = ReadField(fields.platforms);
    return fields.platforms.Mask(platform);
}

bool JsonTitleMetadata::HasEpicConfig()
{
    if (GetEpicSdkVersion() <= 0)
        return false;
    GetEpicProductName();
    GetEpicProductVersion();
    GetEpicProductId();
    GetEpicSandboxId();
    GetEpicDeploymentId();
    GetEpicClientId();
    GetEpicClientSecret();
    GetEpicArtifact();
    return true;
}
