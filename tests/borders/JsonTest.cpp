// Texts that claim to be JSON.

#include "host/JSON.h"
#include "devhost/framework/values/JsonParser.h"
#include "tests/borders/Table.h"

TEST(JsonBorderTest, WhatIsReadIsWrittenAsItCameAndEveryBoundIsExact)
{
    for (const borders::Row& row : borders::ReadTable("json")) {
        const std::string expected = borders::Expand(row.at("result"));
        std::string passed;
        const auto tree = devhost::ParseJson(borders::Expand(row.at("text")), &passed);
        std::string result = passed.empty() ? "none" : "passed: " + passed;
        if (tree && passed.empty()) {
            CHTTPBuf buffer(0);
            tree->Write(&buffer, 1, JSON_WRITE_COMPACT);
            result = buffer.Data();
        }
        EXPECT_TRUE(result == expected) << row.at("case") << ": " << result.substr(0, 200);
    }
}
