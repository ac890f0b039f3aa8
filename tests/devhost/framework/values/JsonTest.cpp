#include "host/JSON.h"
#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/values/JsonParser.h"
#include "host/Trace.h"
#include "tests/support/Journal.h"

#include <gtest/gtest.h>

namespace
{

using devhost::ParseJson;

std::string Written(const CJSONObject& node)
{
    CHTTPBuf buffer(0);
    node.Write(&buffer, 1, JSON_WRITE_COMPACT);
    return buffer.Data();
}

// The text after parsing and writing; "no JSON" when it is not taken.
std::string RoundTrip(std::string_view text)
{
    const auto tree = ParseJson(text);
    return tree ? Written(*tree) : "no JSON";
}

TEST(JsonTest, WhatIsParsedIsWrittenAsItCame)
{
    using namespace std::string_view_literals;
    std::string repeating = "{"; // with so many members that keys are looked up in a set
    for (int i = 0; i < 100; ++i)
        repeating += "\"k" + std::to_string(i % 60) + "\":" + std::to_string(i) + ",";
    repeating.back() = '}';
    // clang-format off
    const std::string kRows[][2] = {
        {"{}", "{}"}, {"\"text\"", "\"text\""}, {"5", "5"},
        {" [ 1 , \"a\" , true , false , null , { } ] ", "[1,\"a\",true,false,null,{}]"},
        // Numbers keep their spelling.
        {"[0,-0,-1,1E5,12.50,1e-2,18446744073709551616,-9223372036854775809,9007199254740993]",
         "[0,-0,-1,1E5,12.50,1e-2,18446744073709551616,-9223372036854775809,9007199254740993]"},
        // Of equal keys the first one stays, with all that is below it.
        {R"({"a":1,"b":2,"a":{"c":[1,{}]},"d":3})", R"({"a":1,"b":2,"d":3})"},
        {R"({"a":{"x":1},"a":{"y":1},"A":2})", R"({"a":{"x":1},"A":2})"},
        {repeating, repeating.substr(0, repeating.find(",\"k0\":60")) + "}"},
        {R"(["\u00e4\ud83d\udd12\n\"\\\/"])", "[\"\xC3\xA4\xF0\x9F\x94\x92\\n\\\"\\\\/\"]"},
        {R"(["a\u0000z",{"k\u0000":1}])", "[\"a\xEF\xBF\xBDz\",{\"k\xEF\xBF\xBD\":1}]"},
    };
    // clang-format on
    for (const auto& [text, result] : kRows)
        EXPECT_EQ(RoundTrip(text), result) << text;
    for (const std::string_view text : {""sv, "{\"a\":1} x"sv, "{\"a\":1"sv, "[\"\xFF\"]"sv,
                                        "[\"\\ud800\"]"sv, "[1e999]"sv, "<html>"sv, "[1]\0"sv})
        EXPECT_EQ(RoundTrip(text), "no JSON") << text;
}

TEST(JsonTest, BoundsAreExactAndNamed)
{
    using devhost::kMaxJsonChildren, devhost::kMaxJsonDepth, devhost::kMaxJsonValues;
    const auto list = [](char opening, std::size_t n, const std::string& piece, char closing) {
        std::string text(1, opening);
        for (std::size_t i = 0; i < n; ++i)
            text.append(i == 0 ? "" : ",").append(piece);
        return text + closing;
    };
    const std::string longText(devhost::kMaxJsonBytes - 3, 'x');
    // As many lists as leave room for one more, each of them with its elements a whole number of times.
    const std::string lists =
        list('[', kMaxJsonValues / kMaxJsonChildren - 1, list('[', kMaxJsonChildren - 1, "0", ']'), ',');
    constexpr const char* wide = "more than 10000 members or elements in one object or array";
    // clang-format off
    const struct {
        std::string text;
        const char* passed; // null: it is taken for JSON
    } kRows[] = {
        {std::string(kMaxJsonDepth, '[') + std::string(kMaxJsonDepth, ']'), nullptr},
        {std::string(kMaxJsonDepth + 1, '['), "more than 64 levels"},
        {list('[', kMaxJsonChildren, "0", ']'), nullptr}, {list('[', kMaxJsonChildren + 1, "[]", ']'), wide},
        // Members that repeat a key count too.
        {list('{', kMaxJsonChildren, "\"k\":1", '}'), nullptr}, {list('{', kMaxJsonChildren + 1, "\"k\":1", '}'), wide},
        {lists + list('[', kMaxJsonChildren - 2, "0", ']') + "]", nullptr},
        {lists + list('[', kMaxJsonChildren - 2, "0", ']') + ",[]]", "more than 200000 values"},
        {lists + list('[', kMaxJsonChildren - 1, "0", ']') + "]", "more than 200000 values"},
        {"[\"" + longText.substr(1) + "\"]", nullptr}, {" [\"" + longText.substr(1) + "\"]", "more than 4194304 bytes"},
        {"<p>" + longText + "</p>", ""}, {"[1", ""},
    };
    // clang-format on
    for (const auto& row : kRows) {
        std::string passed;
        EXPECT_EQ(ParseJson(row.text, &passed) != nullptr, row.passed == nullptr) << row.text.substr(0, 40);
        EXPECT_EQ(passed, row.passed ? row.passed : "") << row.text.substr(0, 40);
    }
}

TEST(JsonTest, SearchesTheSubtreeDepthFirst)
{
    const auto tree = ParseJson(R"({"data":[{"id":"deep","id":0,"name":{"x":true}},7,{"name":null,"n":1E5}],)"
                                R"("id":"late","empty":"","list":[1],"name":"last"})");
    ASSERT_TRUE(tree);
    // clang-format off
    const struct {
        const char* key;
        int context;
        const char* found; // null: not found
    } kRows[] = {
        {"id", 1, "deep"}, {"id", 0, "late"}, {"name", 1, "null"}, // the object of this key is no text
        {"x", 1, "true"}, {"n", 1, "1E5"}, {"empty", 1, ""}, {"list", 1, nullptr},
        {"Id", 1, nullptr}, {nullptr, 1, nullptr},
    };
    // clang-format on
    for (const auto& row : kRows) {
        CQXString value("unchanged");
        EXPECT_EQ(tree->FindString(row.key, &value, row.context), row.found ? 1 : 0) << row.key;
        EXPECT_STREQ(value, row.found ? row.found : "unchanged") << row.key;
    }
    CJSONObject* data = tree->FindNode("data", 1);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->Object(1)->Key(), "") << "and not the repeated one before it";
    EXPECT_EQ(data->Object(3), nullptr);
    EXPECT_EQ(data->Object(-1), nullptr);
    EXPECT_EQ(data->FindNode("data", 1), nullptr) << "the node itself does not count";
    EXPECT_EQ(tree->FindNode("name", 1)->Kind(), CJSONObject::KIND_OBJECT);
}

TEST(JsonTest, WritesTextsEscapedAndValid)
{
    CJSONObject root(0);
    root.AddObjectString("name", "O\"Neil\\ \x01\x1f\r\n\xC3\xA4 100% \xFFz\xC3");
    EXPECT_EQ(Written(root), "{\"name\":\"O\\\"Neil\\\\ \\u0001\\u001f\\r\\n\xC3\xA4 100% "
                             "\xEF\xBF\xBDz\xEF\xBF\xBD\"}");
}

TEST(JsonTest, ACopyTakesFurtherMembersBehindItsOwnAndIsCopiedWithThem)
{
    const auto tree = ParseJson(R"({"a":{"b":1},"c":[2]})");
    const std::unique_ptr<CJSONObject> copy(tree->CreateCopy());
    CJSONObject* const first = copy->Object(0);
    copy->AddObjectStruct("d")->AddObjectString("e", "3");
    first->AddObjectString("f", "4");
    EXPECT_EQ(copy->Object(0), first);
    const std::unique_ptr<CJSONObject> second(copy->CreateCopy());
    for (const CJSONObject* node : {copy.get(), second.get()})
        EXPECT_EQ(Written(*node), R"({"a":{"b":1,"f":"4"},"c":[2],"d":{"e":"3"}})");
    EXPECT_EQ(Written(*tree), R"({"a":{"b":1},"c":[2]})");
}

TEST(JsonTest, TraceHidesSecretsAndAsksTheSwitch)
{
    support::Journal journal;
    devhost::TheFramework().diagnostics = &journal;
    const auto tree = ParseJson(R"({"name":"Ann","pin":"1234","a":[{"code":{"x":1}}],"pins":"%s"})");
    CTraceProducer producer;
    tree->Trace(&producer);
    tree->Trace(nullptr);
    producer.TraceEnabled(1);
    tree->Trace(&producer);
    EXPECT_EQ(journal.TakeTraces(),
              std::vector<std::string>{R"({"name":"Ann","pin":"***","a":[{"code":"***"}],"pins":"%s"})"});
    devhost::TheFramework() = {};
}

} // namespace
