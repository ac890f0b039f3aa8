// What the traffic shows of persons and rights, also where the cloud answers oddly.

#include "devhost/controller/CloudPersons.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

// "id=name/pin:device+,device-;" for each person.
std::string TextOf(const devhost::CloudPersons::Knowledge& known)
{
    std::string result;
    for (const auto& [id, person] : known.persons) {
        result += id + "=" + person.name + "/" + person.pin + ":";
        if (const auto rights = known.rights.find(id); rights != known.rights.end()) {
            for (const auto& [device, has] : rights->second.byDevice)
                result += device + (has ? "+" : "-");
            result += rights->second.complete ? "!" : "";
        }
        result += ";";
    }
    return result;
}

TEST(CloudPersonsTest, EachExchangeShowsWhatTheCloudHas)
{
    using Result = devhost::CloudPersons::Result;
    const struct {
        const char* method;
        const char* path;
        const char* body;
        int status;
        const char* reply;
        const char* known;
        int outcomes; // in all so far
    } rows[] = {
        {"GET", "/access_persons", "", 200,
         R"({"data":[{"id":"a","attributes":{"name":"Ann","pin":"1234"}}]})", "a=Ann/1234:;", 0},
        {"GET", "/access_persons", "", 200, R"({"data":{"id":"b"}})", "a=Ann/1234:;", 0},
        {"GET", "/access_persons", "", 503, R"({"data":[]})", "a=Ann/1234:;", 0},
        {"GET", "/access_persons", "", 200,
         R"({"data":[7,{"id":""},{"id":"a","attributes":[1]},{"id":"c"}]})", "a=/:;c=/:;", 0},
        {"GET", "/devices", "", 200, R"({"data":[]})", "a=/:;c=/:;", 0},
        {"PUT", "/access_persons/a", "{}", 200, R"({"data":{"attributes":{"name":"Ann","pin":"99"}}})",
         "a=Ann/99:;c=/:;", 1},
        {"POST", "/access_persons/a/accesses", R"({"attributes":{"accessible_id":"L"}})", 200,
         R"({"data":{"id":"r"}})", "a=Ann/99:L+;c=/:;", 2},
        {"POST", "/access_persons/a/accesses", R"({"attributes":{"accessible_id":"M"}})", 409, "",
         "a=Ann/99:L+M+;c=/:;", 3},
        {"POST", "/access_persons/a/accesses", R"({"attributes":{"accessible_id":"N"}})", 422, "[",
         "a=Ann/99:L+M+;c=/:;", 4},
        {"DELETE", "/access_persons/a/accesses/r", "", 204, "", "a=Ann/99:L-M+;c=/:;", 5},
        {"GET", "/access_persons/a/accesses", "", 200,
         R"({"data":[{"id":"s","attributes":{"accessible_id":"L"}}]})", "a=Ann/99:L+!;c=/:;", 6},
        {"DELETE", "/access_persons/a/accesses/s/x", "", 204, "", "a=Ann/99:L+!;c=/:;", 6},
        {"DELETE", "/access_persons/c", "", 404, "", "a=Ann/99:L+!;", 7},
        {"DELETE", "/access_persons/a", "", 0, "", "a=Ann/99:L+!;", 8},
        {"POST", "/access_persons", R"({"attributes":{"name":"Bob"}})", 200,
         R"({"data":{"id":"b","attributes":{"name":"Bob"}}})", "a=Ann/99:L+!;b=Bob/:!;", 9},
    };
    devhost::CloudPersons persons;
    for (const auto& row : rows) {
        persons.Take({.account = 1,
                      .method = row.method,
                      .path = row.path,
                      .body = row.body,
                      .status = row.status,
                      .failure = {},
                      .reply = row.reply});
        const auto known = persons.Now();
        EXPECT_EQ(TextOf(*known), row.known) << row.method << " " << row.path << " " << row.reply;
        EXPECT_EQ(known->outcomes.size(), row.outcomes) << row.method << " " << row.path;
    }
    const auto& outcomes = persons.Now()->outcomes;
    EXPECT_EQ(outcomes[3].result, Result::Refused);
    EXPECT_EQ(outcomes[4].device, "L");
    EXPECT_EQ(outcomes[7].result, Result::Lost);
    EXPECT_EQ(outcomes[8].name, "Bob");
}

} // namespace
