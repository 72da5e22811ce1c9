#include "metadata/json_title_metadata.h"

#include "metadata/metadata_container.h"

#include <cstring>
#include <vector>

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
    if (field.IsKnownAbsent() || !document.FindMember(field.GetName(), member))
        return ParseMember(field, nullptr);
    return ParseMember(field, &member);
}

uint32_t JsonTitleMetadata::ParseMember(MetadataField& field, const JsonReader* member)
{
    if (!member)
        return field.IsRequired() ? MetadataStatus::RequiredFieldMissing
                                  : MetadataStatus::OptionalFieldMissing;
    if (!field.ParseValue(*member))
    {
        MetadataLog(Error, "Could not read field '%s', field was not found in metadata.", field.GetName());
        return MetadataStatus::FieldInvalid;
    }
    field.MarkPresent();
    return MetadataStatus::Ok;
}

namespace
{
// The first root member of each key, found in one walk over the root object.
// Gives what a FindMember per key gives, without rescanning the document for
// every key: a member holding megabytes would otherwise be walked past once
// for each absent key. The reader's own lookup memory does not make this
// redundant: it records only the first members of a container, so a root of
// many small members is walked again for each absent key (see the
// LargestContainerManyMembers benchmark).
class RootMembers
{
public:
    RootMembers(const JsonReader& document, const MetadataFieldTable& table)
    {
        for (const std::vector<MetadataField*>* list : {&table.Header(), &table.Main()})
            for (MetadataField* field : *list)
                if (!Lookup(field->GetName()))
                    m_Members.push_back({field->GetName(), JsonReader(), false});
        size_t missing = m_Members.size();
        JsonReader child;
        if (!document.FirstChild(child))
            return;
        do
        {
            for (Entry& entry : m_Members)
            {
                if (!entry.found && child.NameEquals(entry.name, false))
                {
                    entry.member = child;
                    entry.found = true;
                    --missing;
                    break;
                }
            }
        } while (missing > 0 && child.NextSibling(child));
    }

    // The member named `name`, or null when the root has none.
    const JsonReader* Find(const char* name) const
    {
        const Entry* entry = Lookup(name);
        return entry && entry->found ? &entry->member : nullptr;
    }

private:
    struct Entry
    {
        const char* name;
        JsonReader member;
        bool found;
    };
    const Entry* Lookup(const char* name) const
    {
        for (const Entry& entry : m_Members)
            if (std::strcmp(entry.name, name) == 0)
                return &entry;
        return nullptr;
    }
    std::vector<Entry> m_Members;
};
} // namespace

uint32_t JsonTitleMetadata::ReadAllFields()
{
    RootMembers members(document, fields);
    if (document.IsValid())
    {
        for (const std::vector<MetadataField*>* list : {&fields.Header(), &fields.Main()})
            for (MetadataField* field : *list)
                if (!members.Find(field->GetName()))
                    field->MarkAbsent();
    }
    auto read = [&](MetadataField& field)
    {
        // Without a document each read reports that, as a getter would.
        if (field.IsPresent() || !document.IsValid())
            return ReadField(field);
        return ParseMember(field, members.Find(field.GetName()));
    };

    for (MetadataField* field : fields.Header())
    {
        uint32_t status = read(*field);
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
        uint32_t status = read(*field);
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
