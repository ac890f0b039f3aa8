#include "host/JSON.h"
#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/values/JsonParser.h"
#include "host/Trace.h"
#include "tests/support/Journal.h"

#include <gtest/gtest.h>

namespace
{

using devhost::ParseJson;

std::string Written(const CJSONObject& Node)
{
    CHTTPBuf Buffer(0);
    Node.Write(&Buffer, 1, JSON_WRITE_COMPACT);
    return Buffer.Data();
}

// The text after parsing and writing; "no JSON" when it is not taken.
std::string RoundTrip(std::string_view Text)
{
    const auto pTree = ParseJson(Text);
    return pTree ? Written(*pTree) : "no JSON";
}

TEST(Json, WhatIsParsedIsWrittenAsItCame)
{
    using namespace std::string_view_literals;
    std::string Repeating = "{"; // with so many members that keys are looked up in a set
    for (int i = 0; i < 100; ++i)
        Repeating += "\"k" + std::to_string(i % 60) + "\":" + std::to_string(i) + ",";
    Repeating.back() = '}';
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
        {Repeating, Repeating.substr(0, Repeating.find(",\"k0\":60")) + "}"},
        {R"(["\u00e4\ud83d\udd12\n\"\\\/"])", "[\"\xC3\xA4\xF0\x9F\x94\x92\\n\\\"\\\\/\"]"},
        {R"(["a\u0000z",{"k\u0000":1}])", "[\"a\xEF\xBF\xBDz\",{\"k\xEF\xBF\xBD\":1}]"},
    };
    // clang-format on
    for (const auto& [Text, Result] : kRows)
        EXPECT_EQ(RoundTrip(Text), Result) << Text;
    for (const std::string_view Text : {""sv, "{\"a\":1} x"sv, "{\"a\":1"sv, "[\"\xFF\"]"sv,
                                        "[\"\\ud800\"]"sv, "[1e999]"sv, "<html>"sv, "[1]\0"sv})
        EXPECT_EQ(RoundTrip(Text), "no JSON") << Text;
}

TEST(Json, BoundsAreExactAndNamed)
{
    using devhost::kMaxJsonChildren, devhost::kMaxJsonDepth, devhost::kMaxJsonValues;
    const auto List = [](char cOpen, std::size_t n, const std::string& Piece, char cClose) {
        std::string Text(1, cOpen);
        for (std::size_t i = 0; i < n; ++i)
            Text.append(i == 0 ? "" : ",").append(Piece);
        return Text + cClose;
    };
    const std::string Long(devhost::kMaxJsonBytes - 3, 'x');
    // As many lists as leave room for one more, each of them with its elements a whole number of times.
    const std::string Lists =
        List('[', kMaxJsonValues / kMaxJsonChildren - 1, List('[', kMaxJsonChildren - 1, "0", ']'), ',');
    constexpr const char* pWide = "more than 10000 members or elements in one object or array";
    // clang-format off
    const struct {
        std::string Text;
        const char* pPassed; // null: it is taken for JSON
    } kRows[] = {
        {std::string(kMaxJsonDepth, '[') + std::string(kMaxJsonDepth, ']'), nullptr},
        {std::string(kMaxJsonDepth + 1, '['), "more than 64 levels"},
        {List('[', kMaxJsonChildren, "0", ']'), nullptr}, {List('[', kMaxJsonChildren + 1, "[]", ']'), pWide},
        // Members that repeat a key count too.
        {List('{', kMaxJsonChildren, "\"k\":1", '}'), nullptr}, {List('{', kMaxJsonChildren + 1, "\"k\":1", '}'), pWide},
        {Lists + List('[', kMaxJsonChildren - 2, "0", ']') + "]", nullptr},
        {Lists + List('[', kMaxJsonChildren - 2, "0", ']') + ",[]]", "more than 200000 values"},
        {Lists + List('[', kMaxJsonChildren - 1, "0", ']') + "]", "more than 200000 values"},
        {"[\"" + Long.substr(1) + "\"]", nullptr}, {" [\"" + Long.substr(1) + "\"]", "more than 4194304 bytes"},
        {"<p>" + Long + "</p>", ""}, {"[1", ""},
    };
    // clang-format on
    for (const auto& Row : kRows) {
        std::string Passed;
        EXPECT_EQ(ParseJson(Row.Text, &Passed) != nullptr, Row.pPassed == nullptr) << Row.Text.substr(0, 40);
        EXPECT_EQ(Passed, Row.pPassed ? Row.pPassed : "") << Row.Text.substr(0, 40);
    }
}

TEST(Json, SearchesTheSubtreeDepthFirst)
{
    const auto pTree =
        ParseJson(R"({"data":[{"id":"deep","id":0,"name":{"x":true}},7,{"name":null,"n":1E5}],)"
                  R"("id":"late","empty":"","list":[1],"name":"last"})");
    ASSERT_TRUE(pTree);
    // clang-format off
    const struct {
        const char* pKey;
        int iContext;
        const char* pFound; // null: not found
    } kRows[] = {
        {"id", 1, "deep"}, {"id", 0, "late"}, {"name", 1, "null"}, // the object of this key is no text
        {"x", 1, "true"}, {"n", 1, "1E5"}, {"empty", 1, ""}, {"list", 1, nullptr},
        {"Id", 1, nullptr}, {nullptr, 1, nullptr},
    };
    // clang-format on
    for (const auto& Row : kRows) {
        CQXString sValue("unchanged");
        EXPECT_EQ(pTree->FindString(Row.pKey, &sValue, Row.iContext), Row.pFound ? 1 : 0) << Row.pKey;
        EXPECT_STREQ(sValue, Row.pFound ? Row.pFound : "unchanged") << Row.pKey;
    }
    CJSONObject* pData = pTree->FindNode("data", 1);
    ASSERT_TRUE(pData);
    EXPECT_EQ(pData->Object(1)->Key(), "") << "and not the repeated one before it";
    EXPECT_EQ(pData->Object(3), nullptr);
    EXPECT_EQ(pData->Object(-1), nullptr);
    EXPECT_EQ(pData->FindNode("data", 1), nullptr) << "the node itself does not count";
    EXPECT_EQ(pTree->FindNode("name", 1)->Kind(), CJSONObject::KIND_OBJECT);
}

TEST(Json, WritesTextsEscapedAndValid)
{
    CJSONObject Root(0);
    Root.AddObjectString("name", "O\"Neil\\ \x01\x1f\r\n\xC3\xA4 100% \xFFz\xC3");
    EXPECT_EQ(Written(Root), "{\"name\":\"O\\\"Neil\\\\ \\u0001\\u001f\\r\\n\xC3\xA4 100% "
                             "\xEF\xBF\xBDz\xEF\xBF\xBD\"}");
}

TEST(Json, ACopyTakesFurtherMembersBehindItsOwnAndIsCopiedWithThem)
{
    const auto pTree = ParseJson(R"({"a":{"b":1},"c":[2]})");
    const std::unique_ptr<CJSONObject> pCopy(pTree->CreateCopy());
    CJSONObject* const pFirst = pCopy->Object(0);
    pCopy->AddObjectStruct("d")->AddObjectString("e", "3");
    pFirst->AddObjectString("f", "4");
    EXPECT_EQ(pCopy->Object(0), pFirst);
    const std::unique_ptr<CJSONObject> pSecond(pCopy->CreateCopy());
    for (const CJSONObject* pNode : {pCopy.get(), pSecond.get()})
        EXPECT_EQ(Written(*pNode), R"({"a":{"b":1,"f":"4"},"c":[2],"d":{"e":"3"}})");
    EXPECT_EQ(Written(*pTree), R"({"a":{"b":1},"c":[2]})");
}

TEST(Json, TraceHidesSecretsAndAsksTheSwitch)
{
    support::Journal Journal;
    devhost::TheFramework().pDiagnostics = &Journal;
    const auto pTree = ParseJson(R"({"name":"Ann","pin":"1234","a":[{"code":{"x":1}}],"pins":"%s"})");
    CTraceProducer Producer;
    pTree->Trace(&Producer);
    pTree->Trace(nullptr);
    Producer.TraceEnabled(1);
    pTree->Trace(&Producer);
    EXPECT_EQ(Journal.TakeTraces(),
              std::vector<std::string>{R"({"name":"Ann","pin":"***","a":[{"code":"***"}],"pins":"%s"})"});
    devhost::TheFramework() = {};
}

} // namespace
