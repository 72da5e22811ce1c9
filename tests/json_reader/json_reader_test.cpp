#include "json/json_reader.h"
#include "json/json_text.h"

#include "support/capture_sink.h"
#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace
{
// Parses a copy without a terminating NUL, so that the sanitizers catch any read past the length.
struct Doc
{
    explicit Doc(const std::string& s)
        : bytes(s.begin(), s.end()),
          ok(root.Parse(s.empty() ? "" : bytes.data(), static_cast<uint32_t>(s.size())))
    {
    }
    std::vector<char> bytes;
    JsonReader root;
    bool ok;
};

std::string ValueText(const JsonReader& r)
{
    std::string s;
    r.GetRawString(s);
    return s;
}

// Reads with `call` (a getter of d.root filling v) into a value of 99: a refusal must leave the 99.
#define READ(T, call)                                                                                        \
    [&]                                                                                                      \
    {                                                                                                        \
        T v = Initial<T>();                                                                                  \
        const bool ok = d.root.call;                                                                         \
        return std::make_pair(ok, v);                                                                        \
    }()

std::string ByName(const JsonReader& parent, const std::string& name)
{
    JsonReader m;
    return parent.FindMember(name.c_str(), m) ? ValueText(m) : "<none>";
}

std::vector<std::string> Children(const JsonReader& parent)
{
    std::vector<std::string> out;
    JsonReader child;
    for (bool more = parent.FirstChild(child); more; more = child.NextSibling(child))
        out.push_back(ValueText(child));
    return out;
}

TEST(JsonReader, EqualsSyntaxReadsLikeJson)
{
    for (const char* text : {"{a=1}", "{a : 1}", "{\"a\"=1}", "{ \"a\"\t:\n1 }", "[a:1]"})
    {
        Doc d(text);
        ASSERT_TRUE(d.ok) << text;
        EXPECT_EQ(ByName(d.root, "a"), "1") << text;
    }
    Doc json(R"({"list": [1, 2]})");
    Doc eq("{list={1,2}}");
    for (const Doc* d : {&json, &eq})
        EXPECT_EQ(Children(d->root.FindMember("list")), (std::vector<std::string>{"1", "2"}));
    EXPECT_TRUE(json.root.FindMember("list").IsArray());
    EXPECT_TRUE(eq.root.FindMember("list").IsObject());
}

TEST(JsonReader, ElementSpansAndRebasing)
{
    Doc d(R"(  {"k" : "v\"w", "n": [ {"x": 5} ] } trailing garbage)");
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(d.root.valueOffset, 2);
    EXPECT_FALSE(d.root.HasName());
    JsonReader k = d.root.FirstChild();
    ASSERT_TRUE(k.IsValid());
    EXPECT_EQ(std::string(k.text + k.nameOffset, k.nameLength), "k");
    EXPECT_EQ(k.valueLength, 6);
    EXPECT_EQ(k.GetValueLength(), 4);
    // Offsets are relative to each element's base; the length runs to the end.
    EXPECT_EQ(k.text + k.textLength, d.root.text + d.root.textLength);
    JsonReader n = k.NextSibling();
    ASSERT_TRUE(n.IsArray());
    EXPECT_EQ(n.text[0], '"');
    JsonReader x;
    ASSERT_TRUE(n.FirstChild().FindMember("x", x));
    int64_t v = 0;
    EXPECT_TRUE(x.GetInt64(v));
    EXPECT_EQ(v, 5);
}

TEST(JsonReader, ParseOutcomes)
{
    for (auto [text, ok, value] :
         Rows<std::string, bool, const char*>{{"abc", true, "abc"},
                                              {"  abc def", true, "abc"},
                                              {"{}", true, "{}"},
                                              {"\"str\"", true, "str"},
                                              {"", false, ""},
                                              {" \t\r\n\v ", false, ""},
                                              {"\f", true, "\f"}, // form feed is no blank: it starts a token
                                              {"}", false, ""},
                                              {"{\"a\":1", false, ""},
                                              {"[\"]\"", false, ""},
                                              {"n: 5", true, "5"},
                                              {"\"\": 5", false, ""},
                                              {"n:", false, ""},
                                              {"n: ,", true, ","}, // a token always takes its first character
                                              {"{a:1}\0{b:2}", true, "{a:1}"}})
    {
        Doc d(text);
        EXPECT_EQ(d.ok, ok) << text;
        EXPECT_EQ(d.root.IsValid(), ok) << text;
        EXPECT_EQ(ValueText(d.root), value) << text;
    }
    JsonReader r;
    EXPECT_FALSE(r.Parse(nullptr, 5));
    EXPECT_FALSE(r.Parse("abc", 0));
    EXPECT_TRUE(r.Parse("abcdef", 3));
    EXPECT_EQ(ValueText(r), "abc");
}

TEST(JsonReader, NulEndsTheText)
{
    const char text[] = "{a:1,b:2}";
    std::string withNul(text, sizeof text - 1);
    withNul[5] = '\0';
    Doc d(withNul);
    EXPECT_FALSE(d.ok); // the container never closes before the NUL
    Doc s(std::string("\"ab\\\0c\"", 7));
    EXPECT_FALSE(s.ok); // an escaped NUL still ends the text
}

TEST(JsonReader, LengthBeyondTheTerminatorStopsAtTheNul)
{
    // Positions are 32-bit signed: an all-ones length reads up to the NUL.
    JsonReader root;
    ASSERT_TRUE(root.Parse("{a:[1,2],b:\"x\"}", 0xFFFFFFFFu));
    EXPECT_EQ(Children(root.FindMember("a")), (std::vector<std::string>{"1", "2"}));
    EXPECT_FALSE(root.NextSibling().IsValid());
}

TEST(JsonReader, NestingLimitCountsOwnBracketKind)
{
    auto nested = [](char open, char close, int levels)
    { return std::string(levels, open) + std::string(levels, close); };
    Doc ok(nested('[', ']', 32));
    EXPECT_TRUE(ok.ok);
    EXPECT_FALSE(ok.root.tooDeep);
    Doc deep(nested('[', ']', 34)); // root plus 33 nested
    EXPECT_FALSE(deep.ok);
    EXPECT_TRUE(deep.root.tooDeep);
    EXPECT_FALSE(deep.root.IsValid());
    Doc mixed("{" + nested('[', ']', 40) + "}");
    EXPECT_TRUE(mixed.ok);
    // A 33rd opener that is the last byte fails without the flag.
    Doc cut(std::string(33, '['));
    EXPECT_FALSE(cut.ok);
    EXPECT_FALSE(cut.root.tooDeep);
    // A member too deep fails the child parse, also in a long container.
    std::string longDeep = "{\"pad\":\"" + std::string(200, 'x') + "\",\"m\":" + nested('[', ']', 33) + "}";
    Doc member(longDeep);
    ASSERT_TRUE(member.ok);
    JsonReader m;
    EXPECT_FALSE(member.root.FindMember("m", m));
}

TEST(JsonReader, IterationAndSeparators)
{
    Doc d("{a:1,,b:2 , ,c:3,}");
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(Children(d.root), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_EQ(ByName(d.root, "b"), "2");
    Doc arr("[\"a,b\", {x:\"]\"}, [1,[2]]]");
    ASSERT_TRUE(arr.ok);
    EXPECT_EQ(Children(arr.root), (std::vector<std::string>{"a,b", "{x:\"]\"}", "[1,[2]]"}));
    Doc empty("{ }");
    EXPECT_TRUE(empty.ok);
    EXPECT_FALSE(empty.root.FirstChild().IsValid());
    EXPECT_FALSE(Doc("abc").root.FirstChild().IsValid());
}

TEST(JsonReader, FirstMatchWinsAndNamesAreRaw)
{
    Doc d(R"({a:1, a:2, "A":3, "b\"c":4, "":5})"); // first match wins: see the lookup test
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(ValueText(d.root.FindMember("A")), "3");
    EXPECT_EQ(ValueText(d.root.FindMember("b\\\"c")), "4");
    EXPECT_FALSE(d.root.HasMember("b\"c"));
    EXPECT_FALSE(d.root.HasMember(""));
    EXPECT_FALSE(d.root.HasMember(nullptr));
    Doc emptyName(R"({"":1, "a":2})");
    EXPECT_FALSE(emptyName.root.FirstChild().IsValid());
    EXPECT_FALSE(emptyName.root.HasMember("a"));
}

TEST(JsonReader, TrailingCommaIsNotLogged) // a missing one is: see EveryMissRepeatsTheMessage
{
    ScopedLogCapture log;
    Doc trailing("{a:1,}");
    EXPECT_FALSE(trailing.root.HasMember("b"));
    Doc closed("[1]");
    EXPECT_FALSE(closed.root.FirstChild().NextSibling().IsValid());
    EXPECT_TRUE(log.lines.empty());
}

TEST(JsonReader, NextSiblingIntoItself)
{
    Doc d("[1,2 3]");
    JsonReader r = d.root.FirstChild();
    ASSERT_TRUE(r.NextSibling(r));
    EXPECT_EQ(ValueText(r), "2");
    JsonReader before = r;
    EXPECT_FALSE(r.NextSibling(r)); // fails before the element parse: unchanged
    EXPECT_EQ(r.text, before.text);
    EXPECT_EQ(r.valueOffset, before.valueOffset);
    Doc bad("[1,}]");
    JsonReader s = bad.root.FirstChild();
    ASSERT_TRUE(s.IsValid());
    EXPECT_FALSE(s.NextSibling(s)); // the element parse failed: empty
    EXPECT_FALSE(s.IsValid());
}

TEST(JsonReader, Unescaping)
{
    Doc d(R"({s:"a\"b", e:"\u00e9", sur:"\ud83d\ude00", z:"x\u0000y"})"); // escapes themselves: json_text
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(READ(std::string, GetString("s", v)), Ok<std::string>("a\"b"));
    EXPECT_EQ(d.root.GetValueLength("s"), 4);
    char raw[8];
    EXPECT_TRUE(d.root.GetRawString("s", raw, sizeof raw));
    EXPECT_STREQ(raw, "a\\\"b");
    EXPECT_EQ(READ(std::string, GetString("e", v)), Ok<std::string>("\xC3\xA9"));
    // Each half of a surrogate pair is encoded by itself.
    EXPECT_EQ(READ(std::string, GetString("sur", v)), Ok<std::string>("\xED\xA0\xBD\xED\xB8\x80"));
    EXPECT_EQ(READ(std::string, GetString("z", v)), Ok<std::string>("x")); // stops at the decoded NUL
    char buf[16];
    uint32_t written = 0;
    EXPECT_TRUE(d.root.FindMember("z").GetString(buf, sizeof buf, written));
    EXPECT_EQ(std::string(buf, written), std::string("x\0y", 3));
}

TEST(JsonReader, BufferSizes)
{
    Doc d(R"({"na\tme":"abcd"})");
    JsonReader m = d.root.FirstChild();
    char buf[8];
    std::memset(buf, 'z', sizeof buf);
    EXPECT_FALSE(m.GetString(buf, 4)); // equals the raw length
    EXPECT_EQ(buf[0], 'z');
    EXPECT_TRUE(m.GetString(buf, 5));
    EXPECT_STREQ(buf, "abcd");
    EXPECT_FALSE(m.GetRawString(buf, 4));
    EXPECT_FALSE(m.GetName(buf, 6)); // raw name na\tme is 6 bytes
    EXPECT_TRUE(m.GetName(buf, 7));
    EXPECT_STREQ(buf, "na\tme");
    std::string keep = "unchanged";
    JsonReader empty;
    EXPECT_FALSE(empty.GetString(keep));
    EXPECT_EQ(keep, "unchanged");
    EXPECT_FALSE(empty.GetName(buf, sizeof buf));
    EXPECT_FALSE(d.root.GetName(buf, sizeof buf));
}

TEST(JsonReader, TypedReads)
{
    Doc d(R"({n:12abc, h:"0x1F", o:010, neg:-5, big:"0X1F", f:2.5, t:"True", F:FALSE, one:1, nul:NULL,
              q:" 7", e:"", u8:300, d:-1e3})");
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(READ(int32_t, GetInt32("n", v)), Ok(12));
    EXPECT_EQ(READ(int32_t, GetInt32("h", v)), Ok(31));
    EXPECT_EQ(READ(int32_t, GetInt32("q", v)), Ok(7));
    for (const char* refused : {"e", "missing", "t"})
        EXPECT_EQ(READ(int32_t, GetInt32(refused, v)), Refused<int32_t>()) << refused;
    EXPECT_EQ(READ(uint64_t, GetUInt64("h", v)), Ok<uint64_t>(31));
    EXPECT_EQ(READ(uint32_t, GetUInt32("big", v)), Ok(31u));
    EXPECT_EQ(READ(uint16_t, GetUInt16("neg", v)), Ok<uint16_t>(0xFFFB));
    EXPECT_EQ(READ(uint8_t, FindMember("u8").GetUInt8(v)), Ok<uint8_t>(300 & 0xFF));
    EXPECT_EQ(READ(int8_t, FindMember("neg").GetInt8(v)), Ok<int8_t>(-5));
    EXPECT_EQ(READ(int16_t, GetInt16("o", v)), Ok<int16_t>(8));
    EXPECT_EQ(READ(int64_t, GetInt64("h", v)), Ok<int64_t>(0)); // decimal only
    EXPECT_EQ(READ(float, GetFloat("f", v)), Ok(2.5f));
    EXPECT_EQ(READ(double, GetDouble("d", v)), Ok(-1000.0));
    EXPECT_EQ(READ(bool, GetBool("t", v)), Ok(true));
    EXPECT_EQ(READ(bool, GetBool("F", v)), Ok(false));
    EXPECT_EQ(READ(bool, GetBool("one", v)), Refused<bool>());
    EXPECT_TRUE(d.root.FindMember("nul").IsNull());
    EXPECT_FALSE(d.root.FindMember("n").IsNull());
    JsonReader empty;
    int32_t i = 42;
    EXPECT_FALSE(empty.GetInt32(i));
    EXPECT_EQ(i, 42);
    EXPECT_FALSE(empty.IsNull());
}

TEST(JsonReader, Comparisons)
{
    Doc d(R"({"key":"null", other:value, "k2":nullish})");
    JsonReader key = d.root.FirstChild();
    EXPECT_TRUE(key.NameEquals("key", false));
    EXPECT_FALSE(key.NameEquals("key", true)); // its value reads as null
    EXPECT_FALSE(key.NameEquals("ke", false));
    EXPECT_FALSE(key.NameEquals("KEY", false));
    EXPECT_TRUE(key.ValueEquals("null", false));
    EXPECT_FALSE(key.ValueEquals("null", true));
    JsonReader other = d.root.FindMember("other");
    EXPECT_TRUE(other.ValueEquals("value", true));
    EXPECT_FALSE(other.ValueEquals("valu", false));
    EXPECT_TRUE(d.root.FindMember("k2").IsNull()); // only the literal's length is compared
    EXPECT_FALSE(d.root.NameEquals("", false));
    JsonReader empty;
    EXPECT_FALSE(empty.ValueEquals("", false));
}

TEST(JsonReader, ValueTextAndDocuments)
{
    Doc d(R"({"a":"xyz", "o": {"in": 1}, b64:"QUJD", pad:"QQ=="})");
    int32_t n = -1;
    const char* t = d.root.GetValueText("a", n);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(std::string(t, n), "xyz");
    EXPECT_EQ(d.root.GetValueText("zz", n), nullptr);
    EXPECT_EQ(n, 0);
    t = d.root.FindMember("o").GetValueText(n);
    EXPECT_EQ(std::string(t, n), "{\"in\": 1}");
    JsonReader doc;
    ASSERT_TRUE(d.root.AsDocument("o", doc));
    EXPECT_FALSE(doc.HasName());
    EXPECT_TRUE(doc.IsObject());
    EXPECT_TRUE(doc.HasMember("in"));
    EXPECT_FALSE(d.root.AsDocument("missing", doc));
    JsonReader empty;
    EXPECT_FALSE(empty.AsDocument(doc));
    // A value that does not parse as a document still counts as done.
    Doc odd("{a:}");
    JsonReader a = odd.root.FirstChild();
    ASSERT_TRUE(a.IsValid());
    EXPECT_TRUE(a.AsDocument(doc));
    EXPECT_FALSE(doc.IsValid());
    EXPECT_EQ(d.root.GetBase64Length("pad"), 1); // decoded sizes: json_text
    EXPECT_EQ(d.root.GetBase64Length("nope"), -1);
    EXPECT_EQ(d.root.GetValueLength("nope"), -1);
    EXPECT_EQ(empty.GetValueLength(), 0);
    EXPECT_EQ(empty.GetBase64Length(), 0);
}

TEST(JsonReaderLookup, RepeatedLookupsFindTheFirstOfEachName)
{
    std::string text = "{";
    for (int i = 0; i < 300; ++i) // more children than the lookup remembers
        text += "\"m" + std::to_string(i % 170) + "\":" + std::to_string(i) + ",";
    text += "\"last\":[1,2]}";
    Doc d(text);
    ASSERT_TRUE(d.ok);
    for (int round = 0; round < 2; ++round)
        for (const char* n : {"m5", "m169", "last", "m0", "m5", "missing", "m150", "m1", "last", "m130"})
            EXPECT_EQ(ByName(d.root, n),
                      n[0] == 'm' ? (n[1] == 'i' ? "<none>" : std::string(n + 1)) : "[1,2]")
                << n;
}

TEST(JsonReaderLookup, EveryMissRepeatsTheMessage)
{
    ScopedLogCapture log;
    Doc d("{a:1, b:2 c:3}");
    EXPECT_EQ(ByName(d.root, "a"), "1");
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(ByName(d.root, "c"), "<none>");
    EXPECT_EQ(ByName(d.root, "zz"), "<none>");
    EXPECT_EQ(ByName(d.root, "b"), "2");
    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.lines[1], "Unexpected character c at offset:4 in \"b:2 c:3}\"");
}
} // namespace
