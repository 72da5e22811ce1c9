// Prints the JSON Schema of title.kvo (docs/title.kvo.schema.json) from the
// key table in metadata_fields.def, the keyword tables and the record keys of
// customPrerequisites, so the schema cannot drift from what the stub reads.
#include "metadata/metadata_enums.h"
#include "metadata/metadata_fields.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{
// A JSON value kept in the order it is built.
struct Node
{
    enum class Type
    {
        Object,
        Array,
        Text,
        Literal,
    } type = Type::Object;
    std::string scalar;                                // the text unquoted, or the literal as written
    std::vector<std::pair<std::string, Node>> members; // object members, or array elements (no name)

    Node& Add(const std::string& name, Node value)
    {
        members.emplace_back(name, std::move(value));
        return members.back().second;
    }
    Node& Push(Node value) { return Add(std::string(), std::move(value)); }
};

Node Object()
{
    return Node{};
}
Node Array()
{
    Node n;
    n.type = Node::Type::Array;
    return n;
}
Node Text(const std::string& text)
{
    Node n;
    n.type = Node::Type::Text;
    n.scalar = text;
    return n;
}
Node Literal(const std::string& written)
{
    Node n;
    n.type = Node::Type::Literal;
    n.scalar = written;
    return n;
}
Node Number(int64_t value)
{
    return Literal(std::to_string(value));
}

std::string Quoted(const std::string& text)
{
    std::string out = "\"";
    for (char c : text)
    {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + '"';
}

// Two spaces per level, one member per line.
void Print(const Node& node, std::string& out, int depth)
{
    if (node.type == Node::Type::Text)
    {
        out += Quoted(node.scalar);
        return;
    }
    if (node.type == Node::Type::Literal)
    {
        out += node.scalar;
        return;
    }
    const bool object = node.type == Node::Type::Object;
    if (node.members.empty())
    {
        out += object ? "{}" : "[]";
        return;
    }
    out += object ? "{\n" : "[\n";
    const std::string indent(static_cast<size_t>(depth + 1) * 2, ' ');
    for (size_t i = 0; i < node.members.size(); ++i)
    {
        out += indent;
        if (object)
            out += Quoted(node.members[i].first) + ": ";
        Print(node.members[i].second, out, depth + 1);
        out += i + 1 < node.members.size() ? ",\n" : "\n";
    }
    out += std::string(static_cast<size_t>(depth) * 2, ' ') + (object ? "}" : "]");
}

Node TextSchema(uint32_t maxLength)
{
    Node n = Object();
    n.Add("type", Text("string"));
    if (maxLength)
        n.Add("maxLength", Number(maxLength));
    return n;
}

Node TextListSchema()
{
    Node n = Object();
    n.Add("type", Text("array"));
    n.Add("items", TextSchema(kListElementMaxLength));
    return n;
}

Node Keywords(const char* (*keyword)(uint32_t), uint32_t count)
{
    Node words = Array();
    for (uint32_t v = 0; v < count; ++v)
        words.Push(Text(keyword(v)));
    return words;
}

// Numbers as the reader takes them in a list: a JSON number, or a text of
// decimal or 0x hexadecimal digits (signed when `sign`).
Node NumberOrText(bool sign, bool unsignedOnly)
{
    Node number = Object();
    number.Add("type", Text("integer"));
    if (unsignedOnly)
        number.Add("minimum", Number(0));
    Node text = Object();
    text.Add("type", Text("string"));
    text.Add("pattern", Text(sign ? "^[+-]?(0[xX][0-9A-Fa-f]+|[0-9]+)$" : "^(0x[0-9A-Fa-f]+|[0-9]+)$"));
    Node either = Object();
    Node& oneOf = either.Add("oneOf", Array());
    oneOf.Push(std::move(number));
    oneOf.Push(std::move(text));
    return either;
}

// One row of the key table as the schema describes it.
struct Row
{
    std::string key;
    FieldKind kind;
    Node schema; // without the description
    std::string description;
};

std::vector<Row> Rows()
{
    std::vector<Row> rows;
    auto add = [&](const char* key, FieldKind kind, Node schema, const char* description) {
        rows.push_back({key, kind, std::move(schema), description});
    };
    auto integer = [](int64_t minimum, int64_t maximum)
    {
        Node n = Object();
        n.Add("type", Text("integer"));
        n.Add("minimum", Number(minimum));
        n.Add("maximum", Number(maximum));
        return n;
    };
    auto boolean = []
    {
        Node n = Object();
        n.Add("type", Text("boolean"));
        return n;
    };
    auto enumeration = [](Node words)
    {
        Node n = Object();
        n.Add("enum", std::move(words));
        return n;
    };
    auto appIds = []
    {
        Node n = Object();
        n.Add("type", Text("array"));
        n.Add("items", NumberOrText(false, true));
        return n;
    };
    auto platforms = []
    {
        Node n = Object();
        n.Add("type", Text("object"));
        n.Add("minProperties", Number(1));
        n.Add("additionalProperties", Literal("false"));
        Node& properties = n.Add("properties", Object());
        for (uint32_t p = 0; p < GamePlatform::Count; ++p)
        {
            Node ref = Object();
            ref.Add("$ref", Text("#/definitions/features"));
            properties.Add(GamePlatformKeyword(p), std::move(ref));
        }
        return n;
    };
    auto prerequisites = []
    {
        Node n = Object();
        n.Add("type", Text("array"));
        Node ref = Object();
        ref.Add("$ref", Text("#/definitions/prerequisite"));
        n.Add("items", std::move(ref));
        return n;
    };
#define KVO_INT(member, key, use, Getter, access, start, minimum, maximum, description)                      \
    add(key, FieldKind::Int, integer(minimum, maximum), description);
#define KVO_BOOL(member, key, use, Getter, access, start, description)                                       \
    add(key, FieldKind::Bool, boolean(), description);
#define KVO_TEXT(member, key, use, Getter, access, maxLength, description)                                   \
    add(key, FieldKind::Text, TextSchema(maxLength), description);
#define KVO_TEXTS(member, key, use, Getter, access, description)                                             \
    add(key, FieldKind::Texts, TextListSchema(), description);
#define KVO_ENUM(member, key, use, Getter, access, Enumeration, start, description)                          \
    add(key, FieldKind::Enum, enumeration(Keywords(Enumeration##Keyword, Enumeration::Count)), description);
#define KVO_APPIDS(member, key, use, Getter, access, description)                                            \
    add(key, FieldKind::AppIds, appIds(), description);
#define KVO_PLATFORMS(member, key, use, Getter, access, description)                                         \
    add(key, FieldKind::Platforms, platforms(), description);
#define KVO_PREREQS(member, key, use, Getter, access, description)                                           \
    add(key, FieldKind::Prerequisites, prerequisites(), description);
#include "metadata/metadata_fields.def"
    return rows;
}

// The schema of a key and its description: a key read in two forms is
// described by its keyword form when it has one (the text form takes any
// value), else by either form.
Node KeySchema(const std::vector<const Row*>& forms)
{
    const Row* keyword = nullptr;
    for (const Row* row : forms)
        if (row->kind == FieldKind::Enum)
            keyword = row;
    Node n = Object();
    const std::string& description = forms.front()->description;
    if (forms.size() > 1 && !keyword)
    {
        n.Add("description", Text(description));
        Node& oneOf = n.Add("oneOf", Array());
        // The single value before the list.
        for (auto it = forms.rbegin(); it != forms.rend(); ++it)
            oneOf.Push((*it)->schema);
        return n;
    }
    n = (keyword ? keyword : forms.front())->schema;
    // The description before the nested parts, after the key's own type.
    auto at = n.members.begin();
    while (at != n.members.end() && at->first != "items" && at->first != "properties")
        ++at;
    n.members.insert(at, {"description", Text(description)});
    return n;
}

// Descriptions of the names other tables own; every name needs one.
const std::map<std::string, std::string> kFeatureDescriptions = {
    {"cloud", "Cloud saves (bit 1)."},
    {"noAccessToken", "No access token is passed (bit 2)."},
    {"soundCardReq", "A sound card is required (bit 8)."},
    {"gfwlSaveMigration", "Migrate old save games (bit 16)."},
    {"noVornArgs", "No online-service arguments (bit 32)."},
    {"crashpadEnabled", "Crash reports are collected (bit 64)."},
    {"RESERVED", "Reserved (bit 128); do not use."},
};
const std::map<std::string, std::string> kPrerequisiteDescriptions = {
    {"prerequisiteId", "Identifier of the prerequisite."},
    {"friendlyName", "Name shown while it installs."},
    {"version", "Version installed."},
    {"executableName", "Installer executable."},
    {"commandline", "Arguments of the installer."},
    {"locKey", "Localisation key of the name."},
    {"ignoreExitCodes", "Installer exit codes that count as success."},
};

bool Describe(const std::map<std::string, std::string>& descriptions, const std::string& name, Node& node)
{
    auto it = descriptions.find(name);
    if (it == descriptions.end())
    {
        std::fprintf(stderr, "metadata_schema: '%s' has no description; add one to main.cpp\n", name.c_str());
        return false;
    }
    node.Add("description", Text(it->second));
    return true;
}

bool Features(Node& features)
{
    features.Add("type", Text("object"));
    features.Add("minProperties", Number(1));
    features.Add("additionalProperties", Literal("false"));
    features.Add("description",
                 Text("Feature flags of one store front: true sets the feature, false clears it."));
    Node& properties = features.Add("properties", Object());
    std::map<std::string, bool> seen;
    for (uint32_t shift = 0; shift < 32; ++shift)
    {
        const std::string name = PlatformFeatureName(1u << shift);
        if (name.empty() || seen[name])
            continue;
        seen[name] = true;
        Node feature = Object();
        feature.Add("type", Text("boolean"));
        if (!Describe(kFeatureDescriptions, name, feature))
            return false;
        properties.Add(name, std::move(feature));
    }
    return true;
}

bool Prerequisite(Node& record)
{
    record.Add("type", Text("object"));
    Node& required = record.Add("required", Array());
    for (const PrerequisiteKey& key : kPrerequisiteKeys)
        if (key.required)
            required.Push(Text(key.name));
    record.Add("additionalProperties", Literal("false"));
    record.Add("patternProperties", Object()).Add("^[_$]", Object());
    Node& properties = record.Add("properties", Object());
    for (const PrerequisiteKey& key : kPrerequisiteKeys)
    {
        Node value = Object();
        // The exit-code list is the key without a text.
        value.Add("type", Text(key.text ? "string" : "array"));
        if (!Describe(kPrerequisiteDescriptions, key.name, value))
            return false;
        if (!key.text)
            value.Add("items", NumberOrText(true, false));
        properties.Add(key.name, std::move(value));
    }
    return true;
}
} // namespace

int main()
{
    const std::vector<Row> rows = Rows();
    Node schema = Object();
    schema.Add("$schema", Text("http://json-schema.org/draft-07/schema#"));
    schema.Add("$id", Text("https://example.invalid/title.kvo.schema.json"));
    schema.Add("title", Text("Title metadata (title.kvo)"));
    schema.Add("description",
               Text("The metadata document read by the launch stub. Check a file with 'kvotool check'."));
    schema.Add("type", Text("object"));
    Node& required = schema.Add("required", Array());
    MetadataFieldTable table;
    for (const auto* list : {&table.Header(), &table.Main()})
        for (const MetadataField* field : *list)
            if (field->IsRequired())
                required.Push(Text(field->GetName()));
    Node ignored = Object();
    ignored.Add("description", Text("Ignored by the stub: editor hints and comments."));
    schema.Add("patternProperties", Object()).Add("^[_$]", std::move(ignored));
    schema.Add("additionalProperties", Literal("false"));
    Node& properties = schema.Add("properties", Object());
    std::vector<std::string> keys;
    std::map<std::string, std::vector<const Row*>> forms;
    for (const Row& row : rows)
    {
        if (forms[row.key].empty())
            keys.push_back(row.key);
        forms[row.key].push_back(&row);
    }
    for (const std::string& key : keys)
        properties.Add(key, KeySchema(forms[key]));
    Node& definitions = schema.Add("definitions", Object());
    if (!Features(definitions.Add("features", Object())) ||
        !Prerequisite(definitions.Add("prerequisite", Object())))
        return 1;
    std::string out;
    Print(schema, out, 0);
    out += '\n';
    return std::fwrite(out.data(), 1, out.size(), stdout) == out.size() && std::fflush(stdout) == 0 ? 0 : 1;
}
