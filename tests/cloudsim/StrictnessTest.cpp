// Checks how requests are read from pieces, where their size ends, and that each way in which one can differ
// from a controller's own is refused and named.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{

class StrictnessTest : public CloudTest
{
protected:
    // The right request changed as a row says: what is replaced by what, and how the reply begins.
    struct Change {
        std::string from, to, outcome;
    };
    void ExpectEach(const std::string& right, const std::vector<Change>& rows)
    {
        for (const Change& row : rows)
            Expect(Send(Replaced(right, row.from, row.to)), row.outcome, row.to);
        EXPECT_FALSE(FirstLock().pending);
        Expect(Send(right), "200");
    }
};

TEST_F(StrictnessTest, WrongReadsAndWritesAreRefusedAndNamed)
{
    const std::string end = "\r\n\r\n";
    ExpectEach(Bytes("GET /devices"),
               {{"/devices", "/devices/", "404 unknown_path"},
                {"/devices", "/devices?", "400 unexpected_query"},
                {"GET", "PUT", "405 method_not_allowed \"PUT\" is not allowed here, only GET"},
                {"HTTP/1.1", "HTTP/1.0", "505 wrong_version"},
                {"vnd.vestara.v1+json", "json", "406 wrong_accept the Accept header is \"application/json\""},
                {"Authorization", "X", "401 missing_authorization"},
                {"Bearer", "Basic", "401 wrong_authorization"},
                {"Bearer ", "Bearer 0", "401 invalid_token"},
                {VESTARA_API_HOST, VESTARA_OAUTH_HOST,
                 "421 wrong_host the Host header is \"" VESTARA_OAUTH_HOST "\""},
                {"Host: ", "Host: a\r\nHost: ", "400 duplicate_header the Host header"},
                {end, "\r\nContent-Length: 0" + end, "400 unexpected_header"},
                {end, end + "\r\n", "400 trailing_bytes"},
                {end, "\r\n", "400 incomplete_request"}});
    const std::string type = "Content-Type: application/json" + end;
    ExpectEach(Bytes("PUT /devices/front/unlock", "Content-Length: 0\r\n" + type + "\r\n"),
               {{"Content-Length", "X", "411 missing_content_length the Content-Length header"},
                {"Content-Length: 0\r\n" + type, "Transfer-Encoding: chunked\r\n" + type + "0\r\n",
                 "411 missing_content_length the length must be given by Content-Length, not by chunks"},
                {"/json\r", "/xml\r", "415 wrong_content_type"},
                {end + "\r\n", end + "{}", "400 trailing_bytes"},
                {"h: 0", "h: 2", "400 unexpected_body"}});
    EXPECT_EQ(FirstLock().pending, LockState::Unlocked);
    EXPECT_EQ(Get("/x").body,
              R"({"message":"there is no resource of that path","errorcode":"unknown_path"})");
}

TEST_F(StrictnessTest, WrongBodiesAreRefusedAndNamed)
{
    const auto person = [](const std::string& attributes) {
        return R"({"type":"access_user","attributes":{)" + attributes + "}}";
    };
    const std::string access = R"({"attributes":{"accessible_id":"nobody","accessible_type":"lock"}})";
    const std::string persons = "POST /access_persons", accesses = persons + "/alex/accesses";
    const std::string rows[][3] = {
        {persons, "", "400 missing_body"},
        {persons, R"({"type":})", "400 malformed_json the body is no JSON (line 1, column 9)"},
        {persons, NestedArrays(150000), "400 malformed_json the body is nested deeper than 64 levels"},
        {persons, R"({"type":"user","attributes":{}})", "422 bad_value type"},
        {persons, person(R"("pin":"55555")"), "422 missing_field attributes.name"},
        {persons, person(R"("name":"B","pin":55555)"), "422 wrong_type attributes.pin"},
        {persons, person(R"("name":"B","pin":"123")"), "422 bad_value attributes.pin"},
        {persons, person(R"("name":"B","pin":"12345678901234567")"), "422 bad_value attributes.pin"},
        {persons, person(R"("name":"B","pin":"12a4")"), "422 bad_value attributes.pin"},
        {persons, person(R"("name":"B","email":"x","pin":"55555")"), "422 bad_value attributes.email"},
        {persons, person(R"("name":"B","pin":"55555","id":"1")"), "422 unknown_field attributes.id"},
        {persons, person(R"("name":"B","pin":"1234")"), "422 pin_taken"},
        {accesses, Replaced(access, "lock", "door"), "422 bad_value attributes.accessible_type"},
        {accesses, access, "404 unknown_device"},
        {persons + "/bob/accesses", access, "404 unknown_access_person"},
        {persons + "/alex/email/notify", "", "422 missing_email"},
    };
    const std::string before = WholeWorld();
    for (const auto& [line, body, outcome] : rows)
        Expect(Write(line, body), outcome, body);
    EXPECT_EQ(WholeWorld(), before);
}

TEST(RequestReaderTest, PiecesGiveTheSameRequestAsTheWhole)
{
    const std::string bytes =
        "POST / HTTP/1.1\r\nHost: x\r\nX-Two: 1\r\nContent-Length: 5\r\nX-Two: 2\r\n\r\nhello\r\n";
    for (std::size_t cut = 1; cut < bytes.size() - 2; ++cut) {
        RequestReader reader;
        reader.Feed(bytes.substr(0, cut));
        ASSERT_EQ(reader.Feed(bytes.substr(cut)), RequestReader::State::Complete) << cut;
        const Request& request = reader.Result();
        EXPECT_EQ(request.body + "|" + request.trailing, "hello|\r\n") << cut;
        EXPECT_EQ(request.CountHeader("x-two"), 2U) << cut;
    }
}

TEST_F(StrictnessTest, HeaderAndBodyAreBounded)
{
    const std::string start = "POST / HTTP/1.1\r\nX: ", end = "\r\n\r\n";
    Expect(Send(start + std::string(kMaxHeaderBytes - 100, 'x') + end), "404 unknown_path");
    Expect(Send(start + std::string(kMaxHeaderBytes + 1, 'x') + end), "431 header_too_large");
    const std::string length = start + "1\r\nContent-Length: ";
    Expect(Send(length + "1048576" + end + std::string(kMaxBodyBytes, 'x')), "404 unknown_path");
    Expect(Send(length + "1048577" + end), "413 body_too_large");
    Expect(Send(length + "99999999999999999999" + end), "400 malformed_request");
}

} // namespace cloudsim::test
