// Checks how requests are read from pieces, where their size ends, and that each way in which one can differ
// from a controller's own is refused and named.
#include "cloudsim/model/Forms.h"
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

struct Change {
    std::string from, to, result, named = "";
};

class StrictnessTest : public AuthorizedTest
{
protected:
    static void Expect(const Response& reply, const Change& row)
    {
        SCOPED_TRACE(row.from + " -> " + row.to.substr(0, 100));
        EXPECT_EQ(std::to_string(reply.status) + " " + reply.errorcode, row.result);
        const Json body = Json::parse(reply.body);
        EXPECT_NE(body.at("message").get<std::string>().find(row.named), std::string::npos) << body;
        EXPECT_EQ(body.at("errorcode"), reply.errorcode);
        EXPECT_EQ(reply.body.find("\"messages\""), std::string::npos);
    }

    // The right request changed as each row says.
    void ExpectEach(const std::string& right, const std::vector<Change>& rows)
    {
        for (const Change& row : rows)
            Expect(Send(Replaced(right, row.from, row.to)), row);
        EXPECT_FALSE(FirstLock().pending);
        EXPECT_EQ(Send(right).status, 200);
    }
};

// clang-format off
TEST_F(StrictnessTest, WrongReadsAndWritesAreRefusedAndNamed)
{
    ExpectEach(Bytes("GET /devices"), {
    {"/devices", "/devices/", "404 unknown_path", "path"}, {"/devices", "/devices?", "400 unexpected_query"},
    {"GET", "PUT", "405 method_not_allowed", "GET"}, {"GET /devices", "GET ", "400 malformed_request"},
    {"HTTP/1.1", "HTTP/1.0", "505 wrong_version"}, {"Accept: ", "X: ", "406 missing_accept", "Accept"},
    {"application/vnd.vestara.v1+json", "application/json", "406 wrong_accept", "application/json"},
    {"Authorization", "X", "401 missing_authorization"}, {"Bearer", "Basic", "401 wrong_authorization"},
    {"Bearer ", "Bearer 0", "401 invalid_token"}, {"api.", "oauth.", "421 wrong_host", "api.vestara.example"},
    {"Host: ", "X: ", "400 missing_host"}, {"Host: ", "Host: a\r\nHost: ", "400 duplicate_header", "Host"},
    {"\r\n\r\n", "\r\nContent-Length: 0\r\n\r\n", "400 unexpected_header", "Content-Length"},
    {"\r\n\r\n", "\r\n\r\n\r\n", "400 trailing_bytes"}, {"\r\n\r\n", "\r\n", "400 incomplete_request"}});
    const std::string type = "Content-Type: application/json\r\n\r\n";
    ExpectEach(Bytes("PUT /devices/front/unlock", "Content-Length: 0\r\n" + type + "\r\n"), {
    {"Content-Length", "X", "411 missing_content_length", "Content-Length"},
    {"Content-Length: 0\r\n" + type, "Transfer-Encoding: chunked\r\n" + type + "0\r\n",
     "411 missing_content_length", "chunks"},
    {"Content-Type: ", "X: ", "415 missing_content_type"}, {"/json\r", "/xml\r", "415 wrong_content_type"},
    {"\r\n\r\n\r\n", "\r\n\r\n{}", "400 trailing_bytes"}, {"h: 0", "h: 2", "400 unexpected_body", "empty"},
    {"h: 0", "h: 3", "400 incomplete_request"}, {"h: 0", "h: 1048577", "413 body_too_large", "1 MiB"}});
    EXPECT_EQ(FirstLock().pending, LockState::Unlocked);
}

TEST_F(StrictnessTest, WrongBodiesAreRefusedAndNamed)
{
    const auto person = [](const std::string& attributes) {
        return R"({"type":"access_user","attributes":{)" + attributes + "}}";
    };
    const auto access = [](const std::string& id, const std::string& type) {
        return R"({"attributes":{"accessible_id":")" + id + R"(","accessible_type":")" + type + "\"}}";
    };
    const std::string persons = "/access_persons", accesses = "/access_persons/alex/accesses";
    const std::string notify = "/access_persons/alex/email/notify";
    const Change rows[] = {
        {persons, "", "400 missing_body", "empty"},
        {persons, std::string(100000, '['), "400 malformed_json", "JSON"},
        {persons, "{\"type\":\"\xff\"}", "400 malformed_json", "JSON"},
        {persons, R"({"attributes":{"name":"B","pin":"55555"}})", "422 missing_field", "type"},
        {persons, R"({"type":"user","attributes":{}})", "422 bad_value", "access_user"},
        {persons, person(R"("pin":"55555")"), "422 missing_field", "attributes.name"},
        {persons, person(R"("name":"B","pin":55555)"), "422 wrong_type", "attributes.pin"},
        {persons, person(R"("name":"B","pin":"123")"), "422 bad_value", "attributes.pin"},
        {persons, person(R"("name":"B","pin":"12345678901234567")"), "422 bad_value", "attributes.pin"},
        {persons, person(R"("name":"B","pin":"12a4")"), "422 bad_value", "attributes.pin"},
        {persons, person(R"("name":"B","email":"x","pin":"55555")"), "422 bad_value", "attributes.email"},
        {persons, person(R"("name":"B","pin":"55555","id":"1")"), "422 unknown_field", "attributes.id"},
        {persons, person(R"("name":"B","pin":"1234")"), "422 pin_taken", "pin"},
        {accesses, access("back", "door"), "422 bad_value", "lock"},
        {accesses, access("nobody", "lock"), "404 unknown_device", "device"},
        {accesses, access("front", "lock"), "409 duplicate_access", "already"},
        {"/access_persons/bob/accesses", access("front", "lock"), "404 unknown_access_person", "person"},
        {notify, "", "422 missing_email", "e-mail"},
    };
    for (const Change& row : rows)
        Expect(Write("POST " + row.from, row.to), row);
    EXPECT_EQ(cloud.CurrentWorld().persons.size(), 1U);
    EXPECT_EQ(cloud.CurrentWorld().accesses.size(), 1U);
}
// clang-format on

TEST(RequestReaderTest, PiecesGiveTheSameRequestAsTheWhole)
{
    const std::string bytes =
        "POST /a?b HTTP/1.1\r\nHost: x\r\nX-Two: 1\r\nContent-Length: 5\r\nX-Two: 2\r\n\r\nhello\r\n";
    for (std::size_t cut = 1; cut < bytes.size() - 2; ++cut) {
        RequestReader reader;
        reader.Feed(bytes.substr(0, cut));
        ASSERT_EQ(reader.Feed(bytes.substr(cut)), RequestReader::State::Complete) << cut;
        const Request& request = reader.Result();
        EXPECT_EQ(request.Path(), "/a");
        EXPECT_EQ(request.Query(), "b");
        EXPECT_EQ(request.body, "hello");
        EXPECT_EQ(request.trailing, "\r\n") << cut;
        EXPECT_EQ(request.CountHeader("x-two"), 2U);
    }
}

TEST(RequestReaderTest, HeaderAndBodyAreBounded)
{
    const std::string start = "POST / HTTP/1.1\r\nX: ";
    const struct {
        std::string bytes;
        int status; // 0 for a request that is taken
    } rows[] = {
        {start + std::string(kMaxHeaderBytes - 100, 'x') + "\r\n\r\n", 0},
        {start + std::string(kMaxHeaderBytes + 1, 'x') + "\r\n\r\n", 431},
        {start + "1\r\nContent-Length: 1048576\r\n\r\n" + std::string(kMaxBodyBytes, 'x'), 0},
        {start + "1\r\nContent-Length: 1048577\r\n\r\n", 413},
        {start + "1\r\nContent-Length: 99999999999999999999\r\n\r\n", 400},
        {start + "1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
        {std::string("\0\1\2\3", 4), 400},
    };
    for (const auto& row : rows) {
        const auto parsed = ParseRawRequest(row.bytes);
        const auto* refusal = std::get_if<Refusal>(&parsed);
        EXPECT_EQ(refusal ? refusal->Status() : 0, row.status) << row.bytes.substr(0, 60);
    }
}

TEST(FormsTest, OnlyWholePercentSequencesAreDecoded)
{
    EXPECT_EQ(PercentDecode("a%41%2fb%zz+%-1%4"), "aA/b%zz+%-1%4");
}

} // namespace
} // namespace cloudsim::test
