// The key table, feature names and the parsing of every field kind.
#include "metadata/json_title_metadata.h"
#include "metadata/metadata_enums.h"
#include "metadata/metadata_fields.h"
#include "metadata_test_support.h"

#include <map>

namespace
{
// Kind name and current value of a descriptor, as text.
std::pair<std::string, std::string> Describe(const MetadataField& field)
{
    switch (field.Kind())
    {
    case FieldKind::Int:
        return {"int", std::to_string(static_cast<const IntField&>(field).Value())};
    case FieldKind::Bool:
        return {"bool", static_cast<const BoolField&>(field).Value() ? "true" : "false"};
    case FieldKind::Text:
        return {"text", "'" + static_cast<const TextField&>(field).Value() + "'"};
    case FieldKind::Texts:
        return {"texts", Str(static_cast<const TextListField&>(field).Value())};
    case FieldKind::AppIds:
        return {"appids", Str(static_cast<const AppIdListField&>(field).Value())};
    case FieldKind::Prerequisites:
        return {"prereqs", std::to_string(static_cast<const PrerequisiteListField&>(field).Value().Count())};
    case FieldKind::Enum:
        return {"enum", std::to_string(static_cast<const EnumField&>(field).Value())};
    case FieldKind::Platforms:
    {
        std::vector<uint32_t> masks;
        for (uint32_t i = 0; i < GamePlatform::Count; ++i)
            masks.push_back(static_cast<const PlatformFeaturesField&>(field).Mask(i));
        return {"platforms", Str(masks)};
    }
    }
    return {"?", "?"};
}

std::vector<MetadataField*> AllFields(const MetadataFieldTable& table)
{
    std::vector<MetadataField*> all = table.Header();
    all.insert(all.end(), table.Main().begin(), table.Main().end());
    return all;
}

// A loaded object's descriptor of `key` and `kind`.
MetadataField* FieldOf(const JsonTitleMetadata& metadata, const std::string& key, const char* kind)
{
    for (MetadataField* field : AllFields(metadata.Fields()))
        if (field->GetName() == key && Describe(*field).first == kind)
            return field;
    return nullptr;
}

// A row of the key table as the descriptors must show it: kind, required
// flag, and the value before any read (start) and after a clear (reset).
struct KeyRow
{
    const char* key;
    const char* kind;
    bool required;
    std::string start;
    std::string reset;
};

const std::vector<KeyRow>& KeyTable()
{
    static const std::vector<KeyRow> rows = {
#define ROW(key, kind, use, start, reset) {key, kind, KVO_USE_REQUIRED(use), start, reset},
#define KVO_INT(member, key, use, Getter, access, start, minimum, maximum, description)                      \
    ROW(key, "int", use, std::to_string(start), "0")
#define KVO_BOOL(member, key, use, Getter, access, start, description)                                       \
    ROW(key, "bool", use, (start) ? "true" : "false", "false")
#define KVO_TEXT(member, key, use, Getter, access, maxLength, description) ROW(key, "text", use, "''", "''")
#define KVO_TEXTS(member, key, use, Getter, access, description) ROW(key, "texts", use, "[]", "[]")
#define KVO_ENUM(member, key, use, Getter, access, Enumeration, start, description)                          \
    ROW(key, "enum", use, std::to_string(start), std::to_string(start))
#define KVO_APPIDS(member, key, use, Getter, access, description) ROW(key, "appids", use, "[]", "[]")
#define KVO_PLATFORMS(member, key, use, Getter, access, description)                                         \
    ROW(key, "platforms", use, "[0,0,0,0,0,0]", "[0,0,0,0,0,0]")
#define KVO_PREREQS(member, key, use, Getter, access, description) ROW(key, "prereqs", use, "0", "0")
#include "metadata/metadata_fields.def"
#undef ROW
    };
    return rows;
}

// Kind, required flag, presence and value of every field against the table;
// `document` names the optional keys that are present.
void CheckFields(const JsonTitleMetadata& metadata, const char* phase, bool requiredPresent,
                 const std::string& document, bool startValues)
{
    SCOPED_TRACE(phase);
    std::vector<MetadataField*> fields = AllFields(metadata.Fields());
    ASSERT_EQ(1u, metadata.Fields().Header().size());
    ASSERT_EQ(KeyTable().size(), fields.size());
    for (size_t i = 0; i < fields.size(); ++i)
    {
        const KeyRow& row = KeyTable()[i];
        SCOPED_TRACE(row.key);
        EXPECT_STREQ(row.key, fields[i]->GetName());
        EXPECT_EQ(row.required ? 1u : 0u, fields[i]->IsRequired());
        EXPECT_EQ(row.kind, Describe(*fields[i]).first);
        const bool named = document.find("\"" + std::string(row.key) + "\":") != std::string::npos;
        EXPECT_EQ(row.required ? requiredPresent : named, fields[i]->IsPresent());
        if (!fields[i]->IsPresent())
        {
            EXPECT_EQ(startValues ? row.start : row.reset, Describe(*fields[i]).second);
        }
    }
}
} // namespace

TEST(MetadataKeyTableTest, EveryKeyHasItsKindRequiredFlagStartAndResetValue)
{
    JsonTitleMetadata metadata;
    CheckFields(metadata, "new object", false, "", true);
    ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document(kFullMembers)));
    CheckFields(metadata, "every key given", true, kFullMembers, true);
    metadata.Clear();
    CheckFields(metadata, "cleared", false, "", false);
    // A second load starts fresh: what the first document set is back at its start value.
    ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document(kFullMembers)));
    ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document()));
    CheckFields(metadata, "required keys only", true, "", true);
}

// What the stub's behaviour rests on, pinned apart from the table: the keys a
// load needs, the start values that differ from the reset values, and the
// keys read in two forms.
TEST(MetadataKeyTableTest, RequiredKeysAndStartValues)
{
    std::vector<std::string> required;
    std::map<std::string, std::string> started;
    std::map<std::string, std::string> forms;
    for (const KeyRow& row : KeyTable())
    {
        if (row.required)
            required.push_back(row.key);
        if (row.start != row.reset)
            started[row.key] = row.start;
        forms[row.key] += forms[row.key].empty() ? row.kind : std::string("+") + row.kind;
    }
    EXPECT_EQ((std::vector<std::string>{"titleId", "friendlyName", "principalFileName", "appdataFolderName",
                                        "installFolderRegKey", "installFolderRegValueName", "languages"}),
              required);
    EXPECT_EQ((std::map<std::string, std::string>{
                  {"noxTitleId", "-1"}, {"checkExitCodes", "true"}, {"crashpadSamplingPercent", "100"}}),
              started);
    EXPECT_EQ("texts+text", forms["installshieldGuid"]);
    EXPECT_EQ("enum+text", forms["environment"]);
    EXPECT_EQ("enum", forms["gamePlatform"]);
    EXPECT_EQ("0", KeyTable()[0].start); // metadataVersion, the header
}

// The keyword tables are read through the enum rows of the parse test below.
TEST(MetadataEnumerationTest, FeatureNames)
{
    MetadataLogCapture log;
    EXPECT_STREQ("RESERVED", PlatformFeatureName(256));
    EXPECT_STREQ("", PlatformFeatureName(3));
    EXPECT_EQ(std::vector<std::string>{"E Invalid platform feature ID specified: 3"},
              MetadataLogCapture::lines);
}

// Each key's member in several forms, read into the field of the key's kind.
TEST(MetadataFieldParseTest, EveryKindConvertsItsMember)
{
    const uint32_t Ok = MetadataStatus::Ok;
    const uint32_t Invalid = MetadataStatus::FieldInvalid;
    const std::string fits(259, 'x');
    // Key, kind, and the member's value, the read's status and the field's value after it.
    const std::tuple<const char*, const char*, std::vector<std::tuple<std::string, uint32_t, std::string>>>
        groups[] = {
            {"neverInstallable", "bool", {{"TRUE", Ok, "true"}, {"\"True\"", Ok, "true"}}},
            {"checkExitCodes", "bool", {{"False", Ok, "false"}, {"0", Invalid, "true"}}},
            {"noxTitleId",
             "int",
             {{"010", Ok, "8"}, {"\"12\"", Ok, "12"}, {"0x1f", Ok, "31"}, {"-7abc", Ok, "-7"}}},
            {"crashpadSamplingPercent", "int", {{"\"most\"", Invalid, "100"}}},
            {"gamePlatform", "enum", {{"\"Steam\"", Invalid, "0"}, {"\"viveport\"", Ok, "2"}}},
            {"settingsRegistryLanguage", "enum", {{"\"str\"", Ok, "1"}}},
            {"appCompatFlags", "text", {{"\"a\\tb\\\"c\"", Ok, "'a\tb\"c'"}}},
            {"parentApp", "text", {{"42", Ok, "'42'"}}},
            // Read twice, in two forms.
            {"installshieldGuid",
             "texts",
             {{"\"{AB-12}\"", Ok, "[]"}, {"[\"{A}\", \"{B}\"]", Ok, "[{A},{B}]"}}},
            {"installshieldGuid", "text", {{"[\"{A}\", \"{B}\"]", Ok, "'[\"{A}\", \"{B}\"]'"}}},
            {"environment",
             "enum",
             {{"\"prod\"", Ok, "3"}, {"\"\"", Ok, "0"}, {"\"staging\"", Invalid, "4294967295"}}},
            {"environment", "text", {{"\"prod\"", Ok, "'prod'"}}},
            // Elements of 260 bytes or more fail the list, escapes counting at their written length.
            {"preqs",
             "texts",
             {{"[\"a\", \"b\\u00e9\", 12, true]", Ok, "[a,b\xC3\xA9,12,true]"},
              {"[\"" + fits + "\"]", Ok, "[" + fits + "]"},
              {"[\"first\", \"" + fits + "y\", \"third\"]", Invalid, "[first]"},
              {"[\"" + std::string(260, '\\') + "\"]", Invalid, "[]"}}},
            {"steamAppIds",
             "appids",
             {{"[\"0x1A\", 26]", Ok, "[26,26]"}, {"[480, \"none\", 7]", Invalid, "[480]"}}},
            // `default` is every platform's base.
            {"platforms",
             "platforms",
             {{"{\"steam\": {\"cloud\": true}, \"default\": {\"crashpadEnabled\": true}, \"epic\": "
               "{\"RESERVED\": TRUE}}",
               Ok, "[64,65,64,64,64,192]"},
              {"{\"default\": {\"cloud\": true}, \"oculus\": {\"cloud\": false}, \"steam\": {}}", Invalid,
               "[1,1,1,0,1,1]"},
              {"{\"viveport\": {\"noAccessToken\": true, \"soundCardReq\": 1}}", Invalid, "[0,0,2,0,0,0]"}}},
        };
    for (const auto& [key, kind, cases] : groups)
    {
        for (const auto& [json, status, value] : cases)
        {
            SCOPED_TRACE(std::string(key) + " as " + kind + ": " + json.substr(0, 80));
            MetadataLogCapture log;
            JsonTitleMetadata metadata;
            ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document("\"" + std::string(key) + "\": " + json)));
            MetadataField* field = FieldOf(metadata, key, kind);
            ASSERT_NE(nullptr, field);
            EXPECT_EQ(status == Ok, field->IsPresent());
            EXPECT_EQ(value, Describe(*field).second);
            EXPECT_EQ(status, metadata.ReadField(*field));
            // Logged once by the load and once more by the retry above.
            EXPECT_EQ(status == Ok ? 0u : 2u,
                      MetadataLogCapture::CountOf(std::string("E Could not read field '") + key +
                                                  "', field was not found in metadata."));
        }
    }
}

TEST(MetadataFieldParseTest, PrerequisiteRecords)
{
    auto describe = [](const PrerequisiteRecord& r)
    {
        return std::string(r.GetPrerequisiteId()) + "|" + r.GetFriendlyName() + "|" + r.GetVersion() + "|" +
               r.GetExecutableName() + "|" + r.GetCommandline() + "|" + r.GetLocKey() + "|" +
               Str(r.GetIgnoreExitCodes()) + "|" + std::to_string(r.GetFixedNumber());
    };
    // Each record follows a good one; an empty expectation means the record fails the field.
    std::vector<std::pair<std::string, std::string>> cases = {
        {"{\"prerequisiteId\": \"a\", \"friendlyName\": \"A\", \"version\": \"1\", \"executableName\": "
         "\"a.exe\", "
         "\"ignoreExitCodes\": [1, \"x\"]}",
         ""}};
    // Each key left out in turn, the rest in reverse order: a required one fails the record, an optional one
    // stays.
    for (const PrerequisiteKey& omitted : kPrerequisiteKeys)
    {
        std::string record;
        std::string expected;
        for (const PrerequisiteKey& key : kPrerequisiteKeys)
        {
            const std::string value = key.text ? "v-" + std::string(key.name) : "[3010,16,8]";
            if (&key != &omitted)
                record = "\"" + std::string(key.name) +
                         "\": " + (key.text ? "\"" + value + "\"" : "[3010, \"0x10\", 010]") +
                         (record.empty() ? "" : ", ") + record;
            expected += (&key == &omitted ? (key.text ? "" : "[]") : value) + "|";
        }
        cases.push_back({"{" + record + "}", omitted.required ? "" : expected + "30000"});
    }
    const std::string good = "{\"prerequisiteId\": \"ok\", \"friendlyName\": \"OK\", \"version\": \"1\", "
                             "\"executableName\": \"ok.exe\"}";
    for (const auto& [record, expected] : cases)
    {
        SCOPED_TRACE(record);
        auto metadata = NewMetadata();
        // customPrerequisites is the last key: its failure is the load's last read.
        ASSERT_EQ(MetadataStatus::Ok,
                  Load(*metadata, Document("\"customPrerequisites\": [" + good + ", " + record + "]")));
        const PrerequisiteList& list = metadata->GetCustomPrerequisites();
        EXPECT_EQ(expected.empty() ? MetadataStatus::FieldInvalid : MetadataStatus::Ok,
                  metadata->GetLastStatus());
        ASSERT_EQ(expected.empty() ? 1u : 2u, list.Count());
        EXPECT_EQ("ok|OK|1|ok.exe|||[]|30000", describe(list.At(0)));
        EXPECT_EQ(expected, expected.empty() ? std::string() : describe(list.At(1)));
    }
}
