// The key table, the enumerations and the parsing of every field kind.
#include "metadata/json_title_metadata.h"
#include "metadata/metadata_enums.h"
#include "metadata/metadata_fields.h"
#include "metadata_test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace
{
// Kind name and current value of a descriptor, as text.
std::pair<std::string, std::string> Describe(const MetadataField& field)
{
    if (auto f = dynamic_cast<const IntField*>(&field))
        return {"int", std::to_string(f->Value())};
    if (auto f = dynamic_cast<const BoolField*>(&field))
        return {"bool", f->Value() ? "true" : "false"};
    if (auto f = dynamic_cast<const TextField*>(&field))
        return {"text", "'" + f->Value() + "'"};
    if (auto f = dynamic_cast<const TextListField*>(&field))
        return {"texts", std::to_string(f->Value().Count())};
    if (auto f = dynamic_cast<const AppIdListField*>(&field))
        return {"appids", std::to_string(f->Value().Count())};
    if (auto f = dynamic_cast<const PrerequisiteListField*>(&field))
        return {"prereqs", std::to_string(f->Value().Count())};
    if (auto f = dynamic_cast<const EnumField*>(&field))
        return {"enum", std::to_string(f->Value())};
    if (auto f = dynamic_cast<const PlatformFeaturesField*>(&field))
    {
        std::string masks;
        for (uint32_t i = 0; i < 6; ++i)
            masks += std::to_string(f->Mask(i));
        return {"platforms", masks};
    }
    return {"?", "?"};
}

struct KeyRow
{
    const char* key;
    const char* kind;
    bool required;
    const char* start;
    const char* reset;
};

const KeyRow kKeyTable[] = {
    {"metadataVersion", "int", false, "0", "0"},
    {"titleId", "text", true, "''", "''"},
    {"noxTitleId", "int", false, "-1", "0"},
    {"friendlyName", "text", true, "''", "''"},
    {"altFriendlyName", "text", false, "''", "''"},
    {"parentApp", "text", false, "''", "''"},
    {"principalFileName", "text", true, "''", "''"},
    {"appdataFolderName", "text", true, "''", "''"},
    {"neverInstallable", "bool", false, "false", "false"},
    {"invisibleUntilRelease", "bool", false, "false", "false"},
    {"installFolderRegKey", "text", true, "''", "''"},
    {"installFolderRegValueName", "text", true, "''", "''"},
    {"preqs", "texts", false, "0", "0"},
    {"installshieldGuid", "texts", false, "0", "0"},
    {"installshieldGuid", "text", false, "''", "''"},
    {"modScan", "bool", false, "false", "false"},
    {"modAllowList", "texts", false, "0", "0"},
    {"modWhitelist", "texts", false, "0", "0"},
    {"settingsRegistry", "texts", false, "0", "0"},
    {"settingsRegistryLanguage", "enum", false, "4294967295", "4294967295"},
    {"cloudSaveRoot", "enum", false, "4294967295", "4294967295"},
    {"cloudSaveFolder", "text", false, "''", "''"},
    {"cloudSaveFiles", "texts", false, "0", "0"},
    {"cloudSaveLocalMods", "bool", false, "false", "false"},
    {"cloudSaveCompression", "bool", false, "false", "false"},
    {"platforms", "platforms", false, "000000", "000000"},
    {"checkExitCodes", "bool", false, "true", "false"},
    {"appCompatFlags", "text", false, "''", "''"},
    {"minKvoVersion", "text", false, "''", "''"},
    {"minGameVersion", "text", false, "''", "''"},
    {"safeMode", "bool", false, "false", "false"},
    {"languages", "texts", true, "0", "0"},
    {"crashpadSamplingPercent", "int", false, "100", "0"},
    {"wmpCheck", "bool", false, "false", "false"},
    {"gamePlatform", "enum", false, "0", "0"},
    {"environment", "enum", false, "4294967295", "4294967295"},
    {"environment", "text", false, "''", "''"},
    {"shouldLaunchDirectly", "bool", false, "false", "false"},
    {"steamInstallerPath", "text", false, "''", "''"},
    {"steamAppIds", "appids", false, "0", "0"},
    {"epicSdkVersion", "int", false, "0", "0"},
    {"epicProductName", "text", false, "''", "''"},
    {"epicProductVersion", "text", false, "''", "''"},
    {"epicProductId", "text", false, "''", "''"},
    {"epicSandboxId", "text", false, "''", "''"},
    {"epicDeploymentId", "text", false, "''", "''"},
    {"epicClientId", "text", false, "''", "''"},
    {"epicClientSecret", "text", false, "''", "''"},
    {"epicArtifact", "text", false, "''", "''"},
    {"epicAudiences", "texts", false, "0", "0"},
    {"customPrerequisites", "prereqs", false, "0", "0"},
};

std::vector<MetadataField*> AllFields(const MetadataFieldTable& table)
{
    std::vector<MetadataField*> all = table.Header();
    all.insert(all.end(), table.Main().begin(), table.Main().end());
    return all;
}

// A loaded object's descriptor of `key` and `kind`.
const MetadataField* FieldOf(const JsonTitleMetadata& metadata, const char* key, const char* kind)
{
    for (MetadataField* field : AllFields(metadata.Fields()))
        if (std::string(field->GetName()) == key && Describe(*field).first == kind)
            return field;
    return nullptr;
}
} // namespace

TEST(MetadataKeyTableTest, EveryKeyHasItsKindRequiredFlagStartAndResetValue)
{
    JsonTitleMetadata metadata;
    std::vector<MetadataField*> fields = AllFields(metadata.Fields());
    ASSERT_EQ(1u, metadata.Fields().Header().size());
    ASSERT_EQ(std::size(kKeyTable), fields.size());
    for (size_t i = 0; i < fields.size(); ++i)
    {
        const KeyRow& row = kKeyTable[i];
        SCOPED_TRACE(row.key);
        EXPECT_STREQ(row.key, fields[i]->GetName());
        EXPECT_EQ(row.required ? 1u : 0u, fields[i]->IsRequired());
        EXPECT_FALSE(fields[i]->IsPresent());
        EXPECT_EQ(row.kind, Describe(*fields[i]).first);
        EXPECT_EQ(row.start, Describe(*fields[i]).second);
    }

    // A document with the required members only: the optional fields keep
    // their start values; after Clear every field holds its reset value.
    ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document()));
    for (size_t i = 0; i < fields.size(); ++i)
    {
        SCOPED_TRACE(kKeyTable[i].key);
        EXPECT_EQ(kKeyTable[i].required, fields[i]->IsPresent());
        if (!kKeyTable[i].required)
        {
            EXPECT_EQ(kKeyTable[i].start, Describe(*fields[i]).second);
        }
    }
    metadata.Clear();
    for (size_t i = 0; i < fields.size(); ++i)
    {
        SCOPED_TRACE(kKeyTable[i].key);
        EXPECT_FALSE(fields[i]->IsPresent());
        EXPECT_EQ(kKeyTable[i].reset, Describe(*fields[i]).second);
    }
}

TEST(MetadataEnumerationTest, KeywordsBothWays)
{
    struct Table
    {
        const char* (*keyword)(uint32_t);
        bool (*find)(const char*, uint32_t&);
        std::vector<const char*> keywords;
    } tables[] = {
        {CloudSaveRootKeyword, FindCloudSaveRoot, {"qn", "docs", "app", "docs_qn", "app_qn"}},
        {GamePlatformKeyword, FindGamePlatform, {"default", "steam", "viveport", "oculus", "disk", "epic"}},
        {DomainEnvironmentKeyword, FindDomainEnvironment, {"", "dev", "cert", "prod"}},
        {RegistryValueTypeKeyword, FindRegistryValueType, {"int", "str"}},
    };
    for (const Table& table : tables)
    {
        for (uint32_t value = 0; value < table.keywords.size(); ++value)
        {
            EXPECT_STREQ(table.keywords[value], table.keyword(value));
            uint32_t found = 99;
            EXPECT_TRUE(table.find(table.keywords[value], found)) << table.keywords[value];
            EXPECT_EQ(value, found);
        }
        EXPECT_STREQ("", table.keyword(static_cast<uint32_t>(table.keywords.size())));
        EXPECT_STREQ("", table.keyword(kMetadataUnset));
        uint32_t untouched = 77;
        EXPECT_FALSE(table.find("Steam", untouched));
        EXPECT_FALSE(table.find("docs ", untouched));
        EXPECT_FALSE(table.find(nullptr, untouched));
        EXPECT_EQ(77u, untouched);
    }
    uint32_t value = 0;
    EXPECT_FALSE(FindCloudSaveRoot("Docs", value));
    EXPECT_FALSE(FindCloudSaveRoot("", value));
}

TEST(MetadataEnumerationTest, FeatureFlags)
{
    const std::pair<uint32_t, const char*> features[] = {
        {1, "cloud"},          {2, "noAccessToken"},    {8, "soundCardReq"}, {16, "gfwlSaveMigration"},
        {32, "noVornArgs"},    {64, "crashpadEnabled"}, {128, "RESERVED"},   {256, "RESERVED"},
    };
    MetadataLogCapture log;
    for (const auto& feature : features)
        EXPECT_STREQ(feature.second, PlatformFeatureName(feature.first));
    EXPECT_TRUE(MetadataLogCapture::Lines().empty());
    uint32_t bit = 0;
    EXPECT_TRUE(FindPlatformFeature("RESERVED", bit));
    EXPECT_EQ(128u, bit);
    EXPECT_TRUE(FindPlatformFeature("crashpadEnabled", bit));
    EXPECT_EQ(64u, bit);
    EXPECT_FALSE(FindPlatformFeature("Cloud", bit));
    EXPECT_STREQ("", PlatformFeatureName(3));
    EXPECT_EQ(std::vector<std::string>{"E Invalid platform feature ID specified: 3"}, MetadataLogCapture::Lines());
    EXPECT_EQ(0x0Fu, ApplyFeatureFlag(0x0E, 1, true));
    EXPECT_EQ(0x0Cu, ApplyFeatureFlag(0x0E, 2, false));
    EXPECT_EQ(0x0Eu, ApplyFeatureFlag(0x0E, 1, false));
}

TEST(MetadataFieldParseTest, MembersReadTwiceInTwoForms)
{
    struct Case
    {
        const char* member;
        std::vector<std::string> guidList;
        const char* guidText;
        uint32_t environment;
        const char* environmentName;
    } cases[] = {
        {"\"installshieldGuid\": \"{AB-12}\", \"environment\": \"prod\"", {}, "{AB-12}", 3, "prod"},
        {"\"installshieldGuid\": [\"{A}\", \"{B}\"], \"environment\": \"\"",
         {"{A}", "{B}"},
         "[\"{A}\", \"{B}\"]",
         0,
         ""},
        {"\"environment\": \"staging\"", {}, "", kMetadataUnset, "staging"},
        {"\"environment\": \"Prod\"", {}, "", kMetadataUnset, "Prod"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.member);
        auto metadata = NewMetadata();
        ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(c.member)));
        EXPECT_EQ(c.guidList, Texts(metadata->GetInstallshieldGuidList()));
        EXPECT_STREQ(c.guidText, metadata->GetInstallshieldGuid());
        EXPECT_EQ(c.environment, metadata->GetEnvironment());
        EXPECT_EQ(c.environment == kMetadataUnset ? MetadataStatus::FieldInvalid : MetadataStatus::Ok,
                  metadata->GetLastStatus());
        EXPECT_STREQ(c.environmentName, metadata->GetEnvironmentName());
    }
}

TEST(MetadataFieldParseTest, TextListsAndTheirLimits)
{
    auto EscapedQuotes = [](int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += "\\\"";
        return text;
    };
    const std::string fits(259, 'x');
    const std::string tooLong(260, 'y');
    struct Case
    {
        std::string value;
        uint32_t status;
        std::vector<std::string> items;
    } cases[] = {
        {"[\"a\", \"b\\u00e9\", 12, true]", MetadataStatus::Ok, {"a", "b\xC3\xA9", "12", "true"}},
        {"[]", MetadataStatus::Ok, {}},
        {"\"single\"", MetadataStatus::Ok, {}},
        {"[\"" + fits + "\"]", MetadataStatus::Ok, {fits}},
        {"[\"first\", \"" + tooLong + "\", \"third\"]", MetadataStatus::FieldInvalid, {"first"}},
        // Escapes count at their written length: 130 escaped quotes are 260 bytes.
        {"[\"" + EscapedQuotes(130) + "\"]", MetadataStatus::FieldInvalid, {}},
        {"[\"" + EscapedQuotes(129) + "z\"]", MetadataStatus::Ok, {std::string(129, '"') + "z"}},
    };

    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.value.substr(0, 40));
        MetadataLogCapture log;
        auto metadata = NewMetadata();
        ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document("\"preqs\": " + c.value)));
        EXPECT_EQ(c.items, Texts(metadata->GetPreqs()));
        EXPECT_EQ(c.status, metadata->GetLastStatus());
        if (c.status == MetadataStatus::FieldInvalid)
        {
            EXPECT_GE(MetadataLogCapture::CountOf("E Could not read field 'preqs', field was not found in metadata."),
                      1u);
        }
    }
}

TEST(MetadataFieldParseTest, SteamAppIds)
{
    struct Case
    {
        const char* value;
        uint32_t status;
        std::vector<uint64_t> ids;
    } cases[] = {
        {"[\"0x1A\", 26]", MetadataStatus::Ok, {26, 26}},
        {"[\"0X1A\"]", MetadataStatus::Ok, {0}},
        {"[18446744073709551615, \"0xffffffffffffffff\"]", MetadataStatus::Ok, {~0ull, ~0ull}},
        {"[480, \"none\", 7]", MetadataStatus::FieldInvalid, {480}},
        {"[]", MetadataStatus::Ok, {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.value);
        auto metadata = NewMetadata();
        ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(std::string("\"steamAppIds\": ") + c.value)));
        const AppIdList& ids = metadata->GetSteamAppIds();
        EXPECT_EQ(c.status, metadata->GetLastStatus());
        EXPECT_EQ(c.ids, std::vector<uint64_t>(ids.begin(), ids.end()));
        EXPECT_EQ(!c.ids.empty(), metadata->HasSteamAppIds());
    }
}

TEST(MetadataFieldParseTest, PrerequisiteRecords)
{
    auto metadata = NewMetadata();
    ASSERT_EQ(MetadataStatus::Ok,
              Load(*metadata, Document("\"customPrerequisites\": ["
                                       "{\"prerequisiteId\": \"vc\", \"friendlyName\": \"Runtime\", \"version\": \"14\","
                                       " \"executableName\": \"vc.exe\", \"commandline\": \"/q\", \"locKey\": \"VC\","
                                       " \"ignoreExitCodes\": [3010, \"0x10\", 010]},"
                                       "{\"executableName\": \"dx.exe\", \"version\": \"9\", \"friendlyName\": \"DX\","
                                       " \"prerequisiteId\": \"dx\"}]")));
    const PrerequisiteList& list = metadata->GetCustomPrerequisites();
    EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
    ASSERT_EQ(2u, list.Count());
    const PrerequisiteRecord& vc = list.At(0);
    EXPECT_STREQ("vc", vc.GetPrerequisiteId());
    EXPECT_STREQ("Runtime", vc.GetFriendlyName());
    EXPECT_STREQ("14", vc.GetVersion());
    EXPECT_STREQ("vc.exe", vc.GetExecutableName());
    EXPECT_STREQ("/q", vc.GetCommandline());
    EXPECT_STREQ("VC", vc.GetLocKey());
    const NumberList& codes = vc.GetIgnoreExitCodes();
    EXPECT_EQ((std::vector<uint32_t>{3010, 16, 8}), std::vector<uint32_t>(codes.begin(), codes.end()));
    EXPECT_EQ(30000u, vc.GetFixedNumber());
    const PrerequisiteRecord& dx = list.At(1);
    EXPECT_STREQ("dx", dx.GetPrerequisiteId());
    EXPECT_STREQ("", dx.GetCommandline());
    EXPECT_STREQ("", dx.GetLocKey());
    EXPECT_EQ(0u, dx.GetIgnoreExitCodes().Count());
    EXPECT_EQ(30000u, dx.GetFixedNumber());

    // A bad record fails the field; the records before it stay.
    const char* bad[] = {
        "{\"prerequisiteId\": \"a\", \"friendlyName\": \"A\", \"executableName\": \"a.exe\"}",
        "{\"prerequisiteId\": \"a\", \"friendlyName\": \"A\", \"version\": \"1\", \"executableName\": \"a.exe\","
        " \"ignoreExitCodes\": [1, \"x\"]}",
    };
    for (const char* record : bad)
    {
        SCOPED_TRACE(record);
        auto other = NewMetadata();
        std::string good = "{\"prerequisiteId\": \"ok\", \"friendlyName\": \"OK\", \"version\": \"1\", "
                           "\"executableName\": \"ok.exe\"}";
        // customPrerequisites is the last key: its failure is the load's last read.
        EXPECT_EQ(MetadataStatus::Ok, Load(*other, Document("\"customPrerequisites\": [" + good + ", " + record + "]")));
        EXPECT_EQ(1u, other->GetCustomPrerequisites().Count());
        EXPECT_EQ(MetadataStatus::FieldInvalid, other->GetLastStatus());
        EXPECT_STREQ("ok", other->GetCustomPrerequisites().At(0).GetPrerequisiteId());
    }
}

TEST(MetadataFieldParseTest, PrerequisiteKeyTableIsWhatTheParseReads)
{
    // The table as other programs rely on it: every key once, in read order,
    // the four required texts first.
    const struct
    {
        const char* name;
        bool required;
        bool text;
    } expected[] = {
        {"prerequisiteId", true, true}, {"friendlyName", true, true}, {"version", true, true},
        {"executableName", true, true}, {"commandline", false, true}, {"locKey", false, true},
        {"ignoreExitCodes", false, false},
    };
    ASSERT_EQ(sizeof expected / sizeof expected[0], static_cast<size_t>(kPrerequisiteKeyCount));
    for (uint32_t i = 0; i < kPrerequisiteKeyCount; ++i)
    {
        EXPECT_STREQ(expected[i].name, kPrerequisiteKeys[i].name) << i;
        EXPECT_EQ(expected[i].required, kPrerequisiteKeys[i].required) << i;
        EXPECT_EQ(expected[i].text, kPrerequisiteKeys[i].text != nullptr) << i;
    }

    // Each key left out in turn: a required one fails the record, an optional
    // one leaves its start value; every key given lands in its own getter.
    const std::string good = "{\"prerequisiteId\": \"ok\", \"friendlyName\": \"OK\", \"version\": \"1\", "
                             "\"executableName\": \"ok.exe\"}";
    for (const PrerequisiteKey& omitted : kPrerequisiteKeys)
    {
        SCOPED_TRACE(omitted.name);
        std::string record;
        for (const PrerequisiteKey& key : kPrerequisiteKeys)
        {
            if (&key == &omitted)
                continue;
            record += record.empty() ? "{" : ", ";
            record += std::string("\"") + key.name + "\": " + (key.text ? "\"v-" + std::string(key.name) + "\"" : "[7, 9]");
        }
        record += "}";
        auto metadata = NewMetadata();
        ASSERT_EQ(MetadataStatus::Ok,
                  Load(*metadata, Document("\"customPrerequisites\": [" + good + ", " + record + "]")));
        const PrerequisiteList& list = metadata->GetCustomPrerequisites();
        if (omitted.required)
        {
            EXPECT_EQ(MetadataStatus::FieldInvalid, metadata->GetLastStatus());
            EXPECT_EQ(1u, list.Count());
            continue;
        }
        EXPECT_EQ(MetadataStatus::Ok, metadata->GetLastStatus());
        ASSERT_EQ(2u, list.Count());
        const PrerequisiteRecord& r = list.At(1);
        auto given = [&](const char* name) {
            return std::strcmp(name, omitted.name) == 0 ? std::string() : "v-" + std::string(name);
        };
        EXPECT_EQ("v-prerequisiteId", std::string(r.GetPrerequisiteId()));
        EXPECT_EQ("v-friendlyName", std::string(r.GetFriendlyName()));
        EXPECT_EQ("v-version", std::string(r.GetVersion()));
        EXPECT_EQ("v-executableName", std::string(r.GetExecutableName()));
        EXPECT_EQ(given("commandline"), r.GetCommandline());
        EXPECT_EQ(given("locKey"), r.GetLocKey());
        const std::vector<uint32_t> codes(r.GetIgnoreExitCodes().begin(), r.GetIgnoreExitCodes().end());
        EXPECT_EQ(omitted.text ? (std::vector<uint32_t>{7, 9}) : std::vector<uint32_t>(), codes);
    }
}

TEST(MetadataFieldParseTest, PlatformMasks)
{
    struct Case
    {
        const char* value;
        uint32_t status;
        uint32_t masks[6];
    } cases[] = {
        {"{\"default\": {\"cloud\": true}, \"steam\": {\"cloud\": false}}", MetadataStatus::Ok, {1, 0, 1, 1, 1, 1}},
        {"{\"steam\": {\"cloud\": true}, \"default\": {\"crashpadEnabled\": true}, \"epic\": {\"RESERVED\": TRUE}}",
         MetadataStatus::Ok,
         {64, 65, 64, 64, 64, 192}},
        {"{\"disk\": {\"cloud\": true, \"cloud\": false, \"noVornArgs\": True}}", MetadataStatus::Ok, {0, 0, 0, 0, 32, 0}},
        {"{}", MetadataStatus::FieldInvalid, {0, 0, 0, 0, 0, 0}},
        {"{\"default\": {\"cloud\": true}, \"xbox\": {\"cloud\": true}}", MetadataStatus::FieldInvalid, {1, 1, 1, 1, 1, 1}},
        {"{\"default\": {\"cloud\": true}, \"oculus\": {\"cloud\": false}, \"steam\": {}}",
         MetadataStatus::FieldInvalid,
         {1, 1, 1, 0, 1, 1}},
        {"{\"viveport\": {\"noAccessToken\": true, \"soundCardReq\": 1}}", MetadataStatus::FieldInvalid, {0, 0, 2, 0, 0, 0}},
        {"{\"viveport\": {\"Cloud\": true}}", MetadataStatus::FieldInvalid, {0, 0, 0, 0, 0, 0}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.value);
        auto metadata = NewMetadata();
        ASSERT_EQ(MetadataStatus::Ok, Load(*metadata, Document(std::string("\"platforms\": ") + c.value)));
        for (uint32_t platform = 0; platform < 6; ++platform)
        {
            EXPECT_EQ(c.masks[platform], metadata->GetPlatformFeatures(platform)) << platform;
            EXPECT_EQ(c.status, metadata->GetLastStatus());
        }
        EXPECT_EQ(0u, metadata->GetPlatformFeatures(6));
        EXPECT_EQ(MetadataStatus::IndexOutOfRange, metadata->GetLastStatus());
    }
}

TEST(MetadataFieldParseTest, ScalarConversions)
{
    struct Case
    {
        const char* member;
        const char* key;
        const char* kind;
        uint32_t status;
        const char* value;
    } cases[] = {
        {"\"neverInstallable\": TRUE", "neverInstallable", "bool", MetadataStatus::Ok, "true"},
        {"\"neverInstallable\": \"True\"", "neverInstallable", "bool", MetadataStatus::Ok, "true"},
        {"\"checkExitCodes\": False", "checkExitCodes", "bool", MetadataStatus::Ok, "false"},
        {"\"checkExitCodes\": 0", "checkExitCodes", "bool", MetadataStatus::FieldInvalid, "true"},
        {"\"safeMode\": 1", "safeMode", "bool", MetadataStatus::FieldInvalid, "false"},
        {"\"safeMode\": truex", "safeMode", "bool", MetadataStatus::FieldInvalid, "false"},
        {"\"noxTitleId\": 010", "noxTitleId", "int", MetadataStatus::Ok, "8"},
        {"\"noxTitleId\": \"12\"", "noxTitleId", "int", MetadataStatus::Ok, "12"},
        {"\"noxTitleId\": 0x1f", "noxTitleId", "int", MetadataStatus::Ok, "31"},
        {"\"noxTitleId\": -7abc", "noxTitleId", "int", MetadataStatus::Ok, "-7"},
        {"\"crashpadSamplingPercent\": \"most\"", "crashpadSamplingPercent", "int", MetadataStatus::FieldInvalid, "100"},
        {"\"gamePlatform\": \"Steam\"", "gamePlatform", "enum", MetadataStatus::FieldInvalid, "0"},
        {"\"gamePlatform\": \"viveport\"", "gamePlatform", "enum", MetadataStatus::Ok, "2"},
        {"\"cloudSaveRoot\": \"docs\"", "cloudSaveRoot", "enum", MetadataStatus::Ok, "1"},
        {"\"cloudSaveRoot\": \"docs_qn\"", "cloudSaveRoot", "enum", MetadataStatus::Ok, "3"},
        {"\"settingsRegistryLanguage\": \"str\"", "settingsRegistryLanguage", "enum", MetadataStatus::Ok, "1"},
        {"\"appCompatFlags\": \"a\\tb\\\"c\"", "appCompatFlags", "text", MetadataStatus::Ok, "'a\tb\"c'"},
        {"\"parentApp\": 42", "parentApp", "text", MetadataStatus::Ok, "'42'"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.member);
        MetadataLogCapture log;
        JsonTitleMetadata metadata;
        ASSERT_EQ(MetadataStatus::Ok, Load(metadata, Document(c.member)));
        const MetadataField* field = FieldOf(metadata, c.key, c.kind);
        ASSERT_NE(nullptr, field);
        EXPECT_EQ(c.status == MetadataStatus::Ok, field->IsPresent());
        EXPECT_EQ(c.value, Describe(*field).second);
        EXPECT_EQ(c.status, metadata.ReadField(*const_cast<MetadataField*>(field)));
        std::string line = std::string("E Could not read field '") + c.key + "', field was not found in metadata.";
        // Logged once by the load and once more by the retry above.
        EXPECT_EQ(c.status == MetadataStatus::Ok ? 0u : 2u, MetadataLogCapture::CountOf(line));
    }
}
