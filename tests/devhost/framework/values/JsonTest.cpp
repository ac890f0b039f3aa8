// JSON trees: searching, writing, copying and tracing. What is parsed is in tests/borders.

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
