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
#define KIND(type, name, value) if (auto f = dynamic_cast<const type*>(&field)) return {name, value};
    KIND(IntField, "int", std::to_string(f->Value()))
    KIND(BoolField, "bool", f->Value() ? "true" : "false")
    KIND(TextField, "text", "'" + f->Value() + "'")
    KIND(TextListField, "texts", Str(f->Value()))
    KIND(AppIdListField, "appids", Str(f->Value()))
    KIND(PrerequisiteListField, "prereqs", std::to_string(f->Value().Count()))
    KIND(EnumField, "enum", std::to_string(f->Value()))
#undef KIND
    if (auto f = dynamic_cast<const PlatformFeaturesField*>(&field))
    {
        std::vector<uint32_t> masks;
        for (uint32_t i = 0; i < GamePlatform::Count; ++i)
            masks.push_back(f->Mask(i));
        return {"platforms", Str(masks)};
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

// A start or reset value of null is the kind's zero value.
struct KeyRow
{
    const char* key;
    const char* kind;
    bool required = false;
    const char* start = nullptr;
    const char* reset = nullptr;
};

const KeyRow kKeyTable[] = {
    {"metadataVersion", "int"}, {"titleId", "text", true}, {"noxTitleId", "int", false, "-1"},
    {"friendlyName", "text", true}, {"altFriendlyName", "text"}, {"parentApp", "text"},
    {"principalFileName", "text", true}, {"appdataFolderName", "text", true}, {"neverInstallable", "bool"},
    {"invisibleUntilRelease", "bool"}, {"installFolderRegKey", "text", true},
    {"installFolderRegValueName", "text", true}, {"preqs", "texts"}, {"installshieldGuid", "texts"},
    {"installshieldGuid", "text"}, {"modScan", "bool"}, {"modAllowList", "texts"}, {"modWhitelist", "texts"},
    {"settingsRegistry", "texts"}, {"settingsRegistryLanguage", "enum"}, {"cloudSaveRoot", "enum"},
    {"cloudSaveFolder", "text"}, {"cloudSaveFiles", "texts"}, {"cloudSaveLocalMods", "bool"},
    {"cloudSaveCompression", "bool"}, {"platforms", "platforms"}, {"checkExitCodes", "bool", false, "true"},
    {"appCompatFlags", "text"}, {"minKvoVersion", "text"}, {"minGameVersion", "text"}, {"safeMode", "bool"},
    {"languages", "texts", true}, {"crashpadSamplingPercent", "int", false, "100"}, {"wmpCheck", "bool"},
    {"gamePlatform", "enum", false, "0", "0"}, {"environment", "enum"}, {"environment", "text"},
    {"shouldLaunchDirectly", "bool"}, {"steamInstallerPath", "text"}, {"steamAppIds", "appids"},
    {"epicSdkVersion", "int"}, {"epicProductName", "text"}, {"epicProductVersion", "text"},
    {"epicProductId", "text"}, {"epicSandboxId", "text"}, {"epicDeploymentId", "text"}, {"epicClientId", "text"},
    {"epicClientSecret", "text"}, {"epicArtifact", "text"}, {"epicAudiences", "texts"},
    {"customPrerequisites", "prereqs"},
};

std::string Zero(const std::string& kind)
{
    static const std::map<std::string, std::string> zeros = {
        {"int", "0"},     {"bool", "false"},  {"text", "''"},         {"texts", "[]"},
        {"appids", "[]"}, {"prereqs", "0"}, {"enum", "4294967295"}, {"platforms", "[0,0,0,0,0,0]"}};
    return zeros.at(kind);
}

// Kind, required flag, presence and value of every field against the table.
void CheckFields(const JsonTitleMetadata& metadata, const char* phase, bool requiredPresent, bool optionalPresent,
                 bool startValues)
{
    SCOPED_TRACE(phase);
    std::vector<MetadataField*> fields = AllFields(metadata.Fields());
    ASSERT_EQ(1u, metadata.Fields().Header().size());
    ASSERT_EQ(std::size(kKeyTable), fields.size());
    for (size_t i = 0; i < fields.size(); ++i)
    {
        const KeyRow& row = kKeyTable[i];
        SCOPED_TRACE(row.key);
        EXPECT_STREQ(row.key, fields[i]->GetName());
        EXPECT_EQ(row.required ? 1u : 0u, fields[i]->IsRequired());
        EXPECT_EQ(row.kind, Describe(*fields[i]).first);
        EXPECT_EQ(row.required ? requiredPresent : optionalPresent, fields[i]->IsPresent());
        const char* expected = startValues ? row.start : row.reset;
        if (!fields[i]->IsPresent())
        {
            EXPECT_EQ(expected ? expected : Zero(row.kind), Describe(*fields[i]).second);
        }
    }
}
} // namespace

TEST(MetadataKeyTableTest, EveryKeyHasItsKindRequiredFlagStartAndResetValue)
{
    JsonTitleMetadata metadata;
    CheckFields(metadata, "new object", false, false, true);
    ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document(kFullMembers)));
    CheckFields(metadata, "every key given", true, true, true);
    metadata.Clear();
    CheckFields(metadata, "cleared", false, false, false);
    // A second load starts fresh: what the first document set is back at its start value.
    ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document(kFullMembers)));
    ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document()));
    CheckFields(metadata, "required keys only", true, false, true);
}

// The keyword tables are read through the enum rows of the parse test below.
TEST(MetadataEnumerationTest, FeatureNames)
{
    MetadataLogCapture log;
    EXPECT_STREQ("RESERVED", PlatformFeatureName(256));
    EXPECT_STREQ("", PlatformFeatureName(3));
    EXPECT_EQ(std::vector<std::string>{"E Invalid platform feature ID specified: 3"}, MetadataLogCapture::lines);
}

// Each key's member in several forms, read into the field of the key's kind.
TEST(MetadataFieldParseTest, EveryKindConvertsItsMember)
{
    const uint32_t Ok = MetadataStatus::Ok;
    const uint32_t Invalid = MetadataStatus::FieldInvalid;
    const std::string fits(259, 'x');
    // Key, kind, and the member's value, the read's status and the field's value after it.
    const std::tuple<const char*, const char*, std::vector<std::tuple<std::string, uint32_t, std::string>>> groups[] = {
        {"neverInstallable", "bool", {{"TRUE", Ok, "true"}, {"\"True\"", Ok, "true"}}},
        {"checkExitCodes", "bool", {{"False", Ok, "false"}, {"0", Invalid, "true"}}},
        {"noxTitleId", "int", {{"010", Ok, "8"}, {"\"12\"", Ok, "12"}, {"0x1f", Ok, "31"}, {"-7abc", Ok, "-7"}}},
        {"crashpadSamplingPercent", "int", {{"\"most\"", Invalid, "100"}}},
        {"gamePlatform", "enum", {{"\"Steam\"", Invalid, "0"}, {"\"viveport\"", Ok, "2"}}},
        {"settingsRegistryLanguage", "enum", {{"\"str\"", Ok, "1"}}},
        {"appCompatFlags", "text", {{"\"a\\tb\\\"c\"", Ok, "'a\tb\"c'"}}},
        {"parentApp", "text", {{"42", Ok, "'42'"}}},
        // Read twice, in two forms.
        {"installshieldGuid", "texts", {{"\"{AB-12}\"", Ok, "[]"}, {"[\"{A}\", \"{B}\"]", Ok, "[{A},{B}]"}}},
        {"installshieldGuid", "text", {{"[\"{A}\", \"{B}\"]", Ok, "'[\"{A}\", \"{B}\"]'"}}},
        {"environment", "enum", {{"\"prod\"", Ok, "3"}, {"\"\"", Ok, "0"}, {"\"staging\"", Invalid, "4294967295"}}},
        {"environment", "text", {{"\"prod\"", Ok, "'prod'"}}},
        // Elements of 260 bytes or more fail the list, escapes counting at their written length.
        {"preqs", "texts", {{"[\"a\", \"b\\u00e9\", 12, true]", Ok, "[a,b\xC3\xA9,12,true]"},
          {"[\"" + fits + "\"]", Ok, "[" + fits + "]"},
          {"[\"first\", \"" + fits + "y\", \"third\"]", Invalid, "[first]"},
          {"[\"" + std::string(260, '\\') + "\"]", Invalid, "[]"}}},
        {"steamAppIds", "appids", {{"[\"0x1A\", 26]", Ok, "[26,26]"}, {"[480, \"none\", 7]", Invalid, "[480]"}}},
        // `default` is every platform's base.
        {"platforms", "platforms", {{"{\"steam\": {\"cloud\": true}, \"default\": {\"crashpadEnabled\": true}, \"epic\": {\"RESERVED\": TRUE}}",
           Ok, "[64,65,64,64,64,192]"},
          {"{\"default\": {\"cloud\": true}, \"oculus\": {\"cloud\": false}, \"steam\": {}}", Invalid, "[1,1,1,0,1,1]"},
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
            EXPECT_EQ(status == Ok ? 0u : 2u, MetadataLogCapture::CountOf(std::string("E Could not read field '") + key +
                                                                          "', field was not found in metadata."));
        }
    }
}

TEST(MetadataFieldParseTest, PrerequisiteRecords)
{
    auto describe = [](const PrerequisiteRecord& r) {
        return std::string(r.GetPrerequisiteId()) + "|" + r.GetFriendlyName() + "|" + r.GetVersion() + "|" +
               r.GetExecutableName() + "|" + r.GetCommandline() + "|" + r.GetLocKey() + "|" +
               Str(r.GetIgnoreExitCodes()) + "|" + std::to_string(r.GetFixedNumber());
    };
    // Each record follows a good one; an empty expectation means the record fails the field.
    std::vector<std::pair<std::string, std::string>> cases = {
        {"{\"prerequisiteId\": \"a\", \"friendlyName\": \"A\", \"version\": \"1\", \"executableName\": \"a.exe\", "
         "\"ignoreExitCodes\": [1, \"x\"]}",
         ""}};
    // Each key left out in turn, the rest in reverse order: a required one fails the record, an optional one stays.
    for (const PrerequisiteKey& omitted : kPrerequisiteKeys)
    {
        std::string record;
        std::string expected;
        for (const PrerequisiteKey& key : kPrerequisiteKeys)
        {
            const std::string value = key.text ? "v-" + std::string(key.name) : "[3010,16,8]";
            if (&key != &omitted)
                record = "\"" + std::string(key.name) + "\": " + (key.text ? "\"" + value + "\"" : "[3010, \"0x10\", 010]") +
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
        ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document("\"customPrerequisites\": [" + good + ", " + record + "]")));
        const PrerequisiteList& list = metadata->GetCustomPrerequisites();
        EXPECT_EQ(expected.empty() ? MetadataStatus::FieldInvalid : MetadataStatus::Ok, metadata->GetLastStatus());
        ASSERT_EQ(expected.empty() ? 1u : 2u, list.Count());
        EXPECT_EQ("ok|OK|1|ok.exe|||[]|30000", describe(list.At(0)));
        EXPECT_EQ(expected, expected.empty() ? std::string() : describe(list.At(1)));
    }
}
