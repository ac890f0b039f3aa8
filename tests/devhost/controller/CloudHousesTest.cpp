// Which lists of houses are taken in.

#include "devhost/controller/CloudHouses.h"
#include "devhost/framework/network/Exchange.h"

#include <gtest/gtest.h>

TEST(CloudHousesTest, EachAccountHasItsLastGoodList)
{
    const char* const kTwo = R"({"data":[{"attributes":{"name":"A"}},{"attributes":{"name":"B"}}]})";
    struct {
        unsigned account;
        const char *method, *path;
        int status;
        const char* reply;
        bool changes;
    } const rows[] = {
        {2, "GET", "/locations", 200, kTwo, true},
        {2, "GET", "/locations", 200, kTwo, false},
        {1, "GET", "/locations/x", 200, kTwo, false},
        {1, "GET", "/locations", 401, kTwo, false},
        {1, "GET", "/locations", 200, R"({"data":{}})", false},
        {1, "GET", "/locations", 200, "no JSON", false},
        {3, "GET", "/locations", 200, R"({"data":[7,{"attributes":[]},{"attributes":{"name":1}}]})", true},
    };
    devhost::CloudHouses houses;
    for (const auto& row : rows) {
        houses.Take({row.account, row.method, row.path, "", row.status, "", row.reply});
        EXPECT_EQ(houses.TakeChanged(), row.changes) << "row " << &row - rows;
    }
    EXPECT_EQ(houses.Of(1), std::nullopt);
    EXPECT_EQ(houses.Of(2), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(houses.Of(3), std::vector<std::string>());
}
