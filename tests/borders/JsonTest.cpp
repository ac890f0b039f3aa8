// Texts that claim to be JSON.

#include "host/JSON.h"
#include "devhost/framework/values/JsonParser.h"
#include "tests/support/Table.h"

TEST(JsonBorderTest, WhatIsReadIsWrittenAsItCameAndEveryBoundIsExact)
{
    for (const support::Row& row : support::ReadTable("json")) {
        const std::string text = support::Expand(row.at("text")),
                          expected = support::Expand(row.at("result"));
        std::string passed;
        const auto tree = devhost::ParseJson(text, &passed);
        std::string result = passed.empty() ? "none" : "passed: " + passed;
        if (tree && passed.empty()) {
            CHTTPBuf buffer(0);
            tree->Write(&buffer, 1, JSON_WRITE_COMPACT);
            result = buffer.Data();
        }
        EXPECT_TRUE(result == expected) << row.at("case") << ": " << result.substr(0, 200);
        // A reply without a length may end anywhere.
        const bool nested = tree && (text.ends_with('}') || text.ends_with(']'));
        for (std::size_t size = 0; nested && size < text.size() && text.size() < 1000; ++size)
            EXPECT_EQ(devhost::ParseJson(text.substr(0, size)), nullptr)
                << row.at("case") << " cut at " << size;
    }
}
