#include "json/json_text.h"
#include "json/json_writer.h"

#include "support/capture_sink.h"
#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace
{
// The sample document: an object with a = 1 and list = [1, 2].
void WriteSample(JsonWriter& w)
{
    EXPECT_TRUE(w.Begin(nullptr));
    EXPECT_TRUE(w.Write("a", 1));
    EXPECT_TRUE(w.BeginArray("list"));
    EXPECT_TRUE(w.Write(nullptr, 1));
    EXPECT_TRUE(w.Write(nullptr, 2));
    EXPECT_TRUE(w.End());
    EXPECT_TRUE(w.End());
}

// Runs `body` into a roomy buffer and gives the text, or "<failed>".
std::string Produce(bool equals, const std::function<void(JsonWriter&)>& body, uint32_t options = 0)
{
    static char buffer[8192];
    JsonWriter w(buffer, sizeof buffer, equals);
    w.SetPretty((options & JsonWriter::Pretty) != 0);
    w.SetEscapeUnicode((options & JsonWriter::EscapeUnicode) != 0);
    body(w);
    if (w.HasFailed())
        return "<failed>";
    EXPECT_EQ(static_cast<size_t>(w.GetLength()), strlen(w.GetBuffer()));
    return w.GetBuffer();
}

// Writes one member with `write`, which must give true, into an open object.
std::string InObject(bool equals, const std::function<bool(JsonWriter&)>& write)
{
    return Produce(equals,
                   [&](JsonWriter& w)
                   {
                       w.Begin(nullptr);
                       EXPECT_TRUE(write(w));
                   });
}
} // namespace

TEST(JsonWriter, SampleDocumentInBothSyntaxes)
{
    EXPECT_EQ(Produce(false, WriteSample), "{\"a\":1,\"list\":[1,2]}");
    EXPECT_EQ(Produce(true, WriteSample), "{a=1,list={1,2}}");
    EXPECT_EQ(Produce(false, WriteSample, JsonWriter::Pretty),
              "{\n\t\"a\":1,\n\t\"list\":[\n\t\t1,\n\t\t2\n\t]\n}");
    EXPECT_EQ(Produce(true, WriteSample, JsonWriter::Pretty), "{\n\ta=1,\n\tlist={\n\t\t1,\n\t\t2\n\t}\n}");
}

TEST(JsonWriter, ScalarValues)
{
    // (label, write, JSON text, equals text)
    using Write = std::function<bool(JsonWriter&)>;
    for (auto [label, write, json, equalsText] :
         Rows<const char*, Write, const char*, const char*>{
             {"int64", [](JsonWriter& w) { return w.Write("v", INT64_MIN); }, "\"v\":-9223372036854775808",
              "v=-9223372036854775808"},
             {"uint64", [](JsonWriter& w) { return w.Write("v", UINT64_MAX); }, "\"v\":18446744073709551615",
              "v=18446744073709551615"},
             {"float", [](JsonWriter& w) { return w.Write("v", 1.5f); }, "\"v\":1.50000", "v=1.50000"},
             {"float with format", [](JsonWriter& w) { return w.Write("v", 1.25f, "%.1f"); }, "\"v\":1.2",
              "v=1.2"},
             {"double", [](JsonWriter& w) { return w.Write("v", -2.25); }, "\"v\":-2.25000", "v=-2.25000"},
             {"bool", [](JsonWriter& w) { return w.Write("v", true) && w.Write("w", false); },
              "\"v\":true,\"w\":false", "v=true,w=false"},
             {"hex 64", [](JsonWriter& w) { return w.WriteHex("v", uint64_t{0x1234567890ABCDEFull}); },
              "\"v\":\"0x1234567890ABCDEF\"", "v=0x1234567890ABCDEF"},
             {"plain string", [](JsonWriter& w) { return w.WriteString("v", "ab"); }, "\"v\":\"ab\"", "v=ab"},
             {"string with a blank", [](JsonWriter& w) { return w.Write("v", "a b"); }, "\"v\":\"a b\"",
              "v=\"a b\""},
             {"empty string", [](JsonWriter& w) { return w.WriteString("v", ""); }, "\"v\":\"\"", "v="},
             {"formatted", [](JsonWriter& w) { return w.WriteFormatted("v", "%05d", 42); }, "\"v\":00042",
              "v=00042"},
             {"raw value", [](JsonWriter& w) { return w.WriteRawValue("v", "[1,\"x\"]"); }, "\"v\":[1,\"x\"]",
              "v=[1,\"x\"]"},
             {"binary", [](JsonWriter& w) { return w.WriteBinary("v", "A", 1); }, "\"v\":\"QQ==\"", "v=QQ=="},
             {"binary of nothing", [](JsonWriter& w) { return w.WriteBinary("v", "", 0); }, "", ""},
             {"escaped name", [](JsonWriter& w) { return w.Write("a\"b", 1); }, "\"a\\\"b\":1", "a\\\"b=1"}})
    {
        SCOPED_TRACE(label);
        for (bool equals : {false, true})
            EXPECT_EQ(InObject(equals, [&, &write = write](JsonWriter& w) { return write(w) && w.End(); }),
                      std::string("{") + (equals ? equalsText : json) + "}");
    }
}

TEST(JsonWriter, Escapes)
{
    auto text = [](const char* value, uint32_t options)
    {
        return Produce(
            false, [&](JsonWriter& w) { w.WriteString(nullptr, value); }, options);
    };
    EXPECT_EQ(text("\"\\\b\f\n\r\t/", 0), "\"\\\"\\\\\\b\\f\\n\\r\\t/\"");
    EXPECT_EQ(text("a\x01z\x1F\x7F", 0), "\"a\\x1z\\x1F\\x7F\"");
    EXPECT_EQ(text("\xC3\xA9", 0), "\"\xC3\xA9\"");
    EXPECT_EQ(text("x\xC3\xA9y\xE2\x82\xAC", JsonWriter::EscapeUnicode), "\"x\\u00E9y\\u20AC\"");
    // Beyond 16 bits only the low bits remain.
    EXPECT_EQ(text("\xF0\x9F\x98\x80", JsonWriter::EscapeUnicode), "\"\\uF600\"");
    // 0x80 starts no sequence, so it passes unchanged.
    EXPECT_EQ(text("a\x80", JsonWriter::EscapeUnicode), "\"a\x80\"");
}

TEST(JsonWriter, NamingRule)
{
    char buffer[256];
    JsonWriter w(buffer, sizeof buffer, false);
    ASSERT_TRUE(w.BeginArray(nullptr));
    // WriteString and WriteBinary only refuse; the other writers also fail the document.
    EXPECT_FALSE(w.WriteString("x", "y"));
    EXPECT_FALSE(w.WriteBinary("x", "A", 1));
    EXPECT_FALSE(w.HasFailed());
    EXPECT_FALSE(w.Write("x", 1));
    EXPECT_TRUE(w.HasFailed());
    EXPECT_STREQ(buffer, "[");

    w.Init(buffer, sizeof buffer, false);
    ASSERT_TRUE(w.Begin(nullptr));
    EXPECT_FALSE(w.WriteString(nullptr, "y"));
    EXPECT_FALSE(w.HasFailed());
    EXPECT_FALSE(w.Begin(nullptr));
    EXPECT_TRUE(w.HasFailed());

    // The equals syntax allows unnamed elements in objects.
    auto unnamed = [](JsonWriter& w2)
    { w2.Begin(nullptr) && w2.Write(nullptr, 1) && w2.WriteString(nullptr, "x") && w2.End(); };
    EXPECT_EQ(Produce(true, unnamed), "{1,x}");
}

TEST(JsonWriter, DepthLimitAndStickyFailure)
{
    ScopedLogCapture capture;
    char buffer[256];
    JsonWriter w(buffer, sizeof buffer, false);
    int32_t inner = -1;
    for (int i = 0; i < JsonWriter::MaxDepth; ++i)
        ASSERT_TRUE(i == 5 ? w.BeginArray(nullptr, &inner) : w.BeginArray(nullptr));
    EXPECT_TRUE(capture.lines.empty());
    EXPECT_FALSE(w.Begin(nullptr));
    EXPECT_FALSE(w.BeginArray("n"));
    EXPECT_EQ(w.GetDepth(), 32);
    const int32_t length = w.GetLength();
    EXPECT_FALSE(w.Write(nullptr, 1));
    EXPECT_FALSE(w.End());
    EXPECT_EQ(w.GetLength(), length);
    EXPECT_EQ(capture.lines,
              (std::vector<std::string>{"Failed to Begin() - m_Depth(32) + 1 > 32.",
                                        "Failed to BeginArray() 'n' - m_Depth(32) + 1 > 32."}));
    // Rolling back to the sixth opener clears the failure and closes 27 levels.
    ASSERT_EQ(inner, 5);
    EXPECT_TRUE(w.Rollback(inner));
    EXPECT_FALSE(w.HasFailed());
    EXPECT_EQ(w.GetDepth(), 5);
    EXPECT_STREQ(buffer, "[[[[[");
    while (w.GetDepth() > 0)
        EXPECT_TRUE(w.End());
    EXPECT_STREQ(buffer, "[[[[[]]]]]");

    capture.lines.clear();
    EXPECT_FALSE(w.End());
    EXPECT_EQ(capture.lines, (std::vector<std::string>{"Failed to End() - m_Depth(0) must be > 0."}));
}

TEST(JsonWriter, Rollback)
{
    for (bool equals : {false, true})
    {
        char buffer[256];
        JsonWriter w(buffer, sizeof buffer, equals);
        int32_t first = -1;
        int32_t second = -1;
        w.Begin(nullptr);
        w.Begin("o", &first);
        w.Write("x", 1);
        w.End();
        w.Begin("p", &second);
        w.Write("y", 2);
        w.BeginArray("q");
        w.Write(nullptr, 3);
        ASSERT_FALSE(w.HasFailed());
        ASSERT_EQ(w.GetDepth(), 3);
        // Cutting the second member restores the depth and keeps the comma rule.
        EXPECT_TRUE(w.Rollback(second));
        EXPECT_EQ(w.GetDepth(), 1);
        w.Write("z", 4);
        w.End();
        EXPECT_STREQ(buffer, equals ? "{o={x=1},z=4}" : "{\"o\":{\"x\":1},\"z\":4}");
        // A cut across an End cannot be undone.
        EXPECT_FALSE(w.Rollback(first + 2));
        EXPECT_FALSE(w.Rollback(w.GetLength() + 1));

        // Cutting the first element leaves no comma pending.
        w.Init(buffer, sizeof buffer, equals);
        w.Begin(nullptr);
        w.Begin("o", &first);
        w.Rollback(first);
        w.Write("b", 1);
        w.End();
        EXPECT_STREQ(buffer, equals ? "{b=1}" : "{\"b\":1}");
    }
}

TEST(JsonWriter, CallerBufferLimits)
{
    ScopedLogCapture capture;
    char buffer[4];
    JsonWriter w(buffer, sizeof buffer, false);
    EXPECT_TRUE(w.WriteRaw("abc"));
    EXPECT_EQ(w.Available(), 0);
    EXPECT_FALSE(w.WriteRaw('d'));
    EXPECT_TRUE(w.HasFailed());
    EXPECT_STREQ(buffer, "abc");
    w.Init(buffer, sizeof buffer, false);
    EXPECT_FALSE(w.WriteRaw("abcd"));
    EXPECT_EQ(w.GetLength(), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(capture.lines, (std::vector<std::string>{"Failed to WriteRaw() - Available(0) <= 0.",
                                                       "Failed to WriteRaw() - Available(3) < len(4)."}));

    // A value that does not fit keeps the bytes that did, then fails on the first one that does not.
    for (const auto& [equals, write, expected] :
         Rows<bool, std::function<bool(JsonWriter&)>, const char*>{
             {true, [](JsonWriter& o) { return o.WriteString(nullptr, "abcdef"); }, "abc"},
             {true, [](JsonWriter& o) { return o.Write(nullptr, 12345); }, "123"},
             {false, [](JsonWriter& o) { return o.WriteString(nullptr, "abcdef"); }, "\"ab"},
             {true, [](JsonWriter& o) { return o.WriteString(nullptr, "ab\\cd"); }, "ab"},
         })
    {
        capture.lines.clear();
        w.Init(buffer, sizeof buffer, equals);
        EXPECT_FALSE(write(w));
        EXPECT_TRUE(w.HasFailed());
        EXPECT_STREQ(buffer, expected);
        EXPECT_EQ(w.GetLength(), static_cast<int32_t>(strlen(expected)));
        EXPECT_EQ(capture.lines.size(), 1u);
        EXPECT_EQ(capture.lines.back(), strlen(expected) == 3
                                            ? "Failed to WriteRaw() - Available(0) <= 0."
                                            : "Failed to WriteRaw() - Available(1) < len(2).");
    }

    // Base64 that does not fit fails the writer and keeps the text terminated.
    capture.lines.clear();
    char small[16];
    w.Init(small, sizeof small, false);
    w.Begin(nullptr);
    EXPECT_FALSE(w.WriteBinary("b", "0123456789", 10));
    EXPECT_TRUE(w.HasFailed());
    EXPECT_STREQ(small, "{\"b\":\"");
    EXPECT_EQ(capture.lines, (std::vector<std::string>{"Failed to WriteBinary() - 'b'."}));

    // Values beyond the formatting scratch area are refused, not truncated.
    const std::string x1023(1023, 'x');
    EXPECT_EQ(InObject(false, [](JsonWriter& o) { return !o.WriteFormatted("f", "%2000d", 1); }), "<failed>");
    EXPECT_EQ(InObject(false, [&](JsonWriter& o) { return !o.WriteRawValue("r", (x1023 + "x").c_str()); }),
              "<failed>");
    EXPECT_EQ(InObject(false, [&](JsonWriter& o) { return o.WriteRawValue("r", x1023.c_str()); }),
              "{\"r\":" + x1023);

    JsonWriter unattached; // accepts nothing
    EXPECT_FALSE(unattached.Write(nullptr, 1));
    EXPECT_TRUE(unattached.HasFailed());
}

TEST(JsonWriter, MeasureOnlyGivesTheExactLength)
{
    auto body = [](JsonWriter& w)
    {
        w.SetPretty(true);
        w.SetEscapeUnicode(true);
        WriteSample(w);
        w.BeginArray(nullptr);
        w.WriteString(nullptr, "t\xC3\xA9xt \"q\"\x01");
        w.WriteBinary(nullptr, "some bytes", 10);
        w.WriteHex(nullptr, 255u);
        w.Write(nullptr, 3.5);
        w.End();
    };
    for (bool equals : {false, true})
    {
        JsonWriter measure(nullptr, 0, equals);
        body(measure);
        EXPECT_FALSE(measure.HasFailed());
        EXPECT_EQ(measure.GetBuffer(), nullptr);
        EXPECT_EQ(measure.Available(), 0x7FFFFFFF);
        std::vector<char> exact(static_cast<size_t>(measure.GetLength()) + 1);
        JsonWriter real(exact.data(), static_cast<int32_t>(exact.size()), equals);
        body(real);
        EXPECT_FALSE(real.HasFailed());
        EXPECT_EQ(real.GetLength(), measure.GetLength());
    }
}

TEST(JsonWriter, GrowableVector)
{
    JsonWriter w;
    w.InitGrowable(4);
    WriteSample(w);
    EXPECT_STREQ(w.GetBuffer(), "{\"a\":1,\"list\":[1,2]}");

    // Every text up to the limit fits, however it was written: 262143 bytes and the NUL.
    ScopedLogCapture capture;
    const std::string chunk(JsonWriter::MaxGrowableSize, 'x');
    for (const auto& [initial, sizes] : Rows<uint32_t, std::vector<int32_t>>{
             {105000, {104999, 1, 65000, 55000, 37143}},
             {4, {100000, 100000, 62143}},
             {0, {262143}},
             {1000, {1000, 130000, 131143}},
             {262144, {262143}},
         })
    {
        SCOPED_TRACE(initial);
        w.InitGrowable(initial);
        for (int32_t size : sizes)
            EXPECT_TRUE(w.WriteRaw(chunk.data(), size)) << size;
        EXPECT_EQ(w.GetLength(), 262143);
        EXPECT_FALSE(w.WriteRaw('x'));
        EXPECT_EQ(capture.lines.back(), "Failed to WriteRaw() - Available(0) <= 0.");
    }
    // A text that passes the limit is refused whole by a raw write; escaped
    // text fills the vector up to the limit first.
    w.InitGrowable(4);
    EXPECT_TRUE(w.WriteRaw(chunk.c_str(), 200000));
    EXPECT_FALSE(w.WriteRaw(chunk.c_str(), 100000));
    EXPECT_EQ(w.GetLength(), 200000);
    EXPECT_EQ(capture.lines.back(), "Failed to WriteRaw() - Available(0) < len(100000).");
    w.InitGrowable(4);
    EXPECT_TRUE(w.WriteRaw(chunk.c_str(), 200000));
    EXPECT_FALSE(w.WriteString(nullptr, std::string(100000, 'y').c_str()));
    EXPECT_EQ(w.GetLength(), 262143);
    EXPECT_EQ(strlen(w.GetBuffer()), 262143u);
    EXPECT_EQ(capture.lines.back(), "Failed to WriteRaw() - Available(0) <= 0.");

    // ClearText keeps the nesting, so a writer can flush and go on.
    w.InitGrowable(0);
    w.Begin(nullptr);
    w.ClearText();
    EXPECT_EQ(w.GetDepth(), 1);
    EXPECT_TRUE(w.Write("k", 1));
    EXPECT_TRUE(w.End());
    EXPECT_STREQ(w.GetBuffer(), "\"k\":1}");
}

TEST(JsonWriter, EmbeddedDocument)
{
    for (bool equals : {false, true})
    {
        char innerBuffer[64];
        JsonWriter inner(innerBuffer, sizeof innerBuffer, equals);
        inner.Begin(nullptr);
        inner.Write("x", 1);
        inner.End();
        const std::string text = Produce(
            equals,
            [&](JsonWriter& w)
            {
                w.Begin(nullptr);
                w.Write("a", 1);
                EXPECT_TRUE(w.Write("doc", inner));
                w.BeginArray("list");
                EXPECT_TRUE(w.WriteDocument(nullptr, inner));
                w.End();
                w.End();
            },
            JsonWriter::Pretty);
        EXPECT_EQ(text, equals ? "{\n\ta=1,\n\tdoc={x=1},\n\tlist={\n\t\t{x=1}\n\t}\n}"
                               : "{\n\t\"a\":1,\n\t\"doc\":{\"x\":1},\n\t\"list\":[\n\t\t{\"x\":1}\n\t]\n}");
    }
}
