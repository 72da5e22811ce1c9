// Every value a metadata object hands out, written into one text, so that a
// fuzzer can read everything and compare two objects that must agree.
#pragma once

#include "metadata/title_metadata.h"

#include <cstdint>
#include <string>

inline std::string DescribeMetadata(TitleMetadata& m)
{
    std::string out;
    struct Writer
    {
        std::string& out;
        void operator()(uint64_t v) const { out += std::to_string(v) + ';'; }
        void operator()(int32_t v) const { (*this)(static_cast<uint64_t>(v)); }
        void operator()(uint32_t v) const { (*this)(static_cast<uint64_t>(v)); }
        void operator()(bool v) const { (*this)(static_cast<uint64_t>(v)); }
        void operator()(const char* t) const
        {
            out += t ? t : "(null)";
            out += ';';
        }
        void operator()(const TextList& list) const
        {
            out += '[';
            for (const char* item : list)
                (*this)(item);
            out += ']';
        }
        void operator()(const AppIdList& ids) const
        {
            for (uint64_t id : ids)
                (*this)(id);
        }
        void operator()(const PrerequisiteList& records) const
        {
            for (const PrerequisiteRecord& record : records)
            {
                (*this)(record.GetPrerequisiteId());
                (*this)(record.GetCommandline());
                for (uint32_t code : record.GetIgnoreExitCodes())
                    (*this)(code);
            }
        }
    } write{out};
    // Every getter of the key table, then what the getters derive.
#define KVO_FIELD(Type, member, key, use, Getter, access) KVO_IF_GETTER(access, write(m.Getter());)
#define KVO_PLATFORMS(member, key, use, Getter, access, description)                                         \
    for (uint32_t platform = 0; platform <= GamePlatform::Count; ++platform)                                 \
        write(m.Getter(platform));
#include "metadata/metadata_fields.def"
    write(m.GetCloudSaveRootName());
    write(m.HasSteamAppIds());
    write(m.HasEpicConfig());
    write(m.GetDocumentText());
    write(m.GetLastStatus());
    return out;
}
