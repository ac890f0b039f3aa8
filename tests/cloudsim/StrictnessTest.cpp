// Checks that each way in which a request can differ from a controller's own is refused and named.
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

class StrictnessTest : public CloudTest
{
protected:
    StrictnessTest() { Authorize(); }

    std::string Bytes(const std::string& line, const std::string& tail) const
    {
        return line + " HTTP/1.1\r\nAccept: application/vnd.vestara.v1+json\r\nAuthorization: Bearer " +
               accessToken + "\r\nHost: api.vestara.example\r\n" + tail;
    }
};

struct Change {
    std::string from, to;
    int status;
    std::string errorcode, named;
};

void Expect(const Response& reply, const Change& row)
{
    EXPECT_EQ(reply.status, row.status);
    EXPECT_EQ(reply.errorcode, row.errorcode);
    const Json body = Json::parse(reply.body);
    EXPECT_NE(body.at("message").get<std::string>().find(row.named), std::string::npos) << body;
    EXPECT_EQ(body.at("errorcode"), row.errorcode);
    EXPECT_EQ(reply.body.find("\"messages\""), std::string::npos);
}

TEST_F(StrictnessTest, WrongReadsAreRefusedAndNamed)
{
    const std::string right = Bytes("GET /devices", "\r\n");
    ASSERT_EQ(Send(right).status, 200);
    const Change rows[] = {
        {"/devices", "/device", 404, "unknown_path", "path"},
        {"/devices", "/devices/", 404, "unknown_path", "path"},
        {"/devices", "/devices/nobody", 404, "unknown_device", "device"},
        {"/devices", "/devices?x=1", 400, "unexpected_query", "query"},
        {"/devices", "/devices?", 400, "unexpected_query", "query"},
        {"GET /devices", "PUT /devices", 405, "method_not_allowed", "GET"},
        {"GET /devices", "GET ", 400, "malformed_request", "HTTP/1.1"},
        {"GET /devices HTTP/1.1", " HTTP/1.1", 400, "malformed_request", "HTTP/1.1"},
        {"HTTP/1.1", "HTTP/1.0", 505, "wrong_version", "HTTP/1.1"},
        {"Accept: application/vnd.vestara.v1+json\r\n", "", 406, "missing_accept", "Accept"},
        {"application/vnd.vestara.v1+json", "application/json", 406, "wrong_accept", "application/json"},
        {"Authorization: Bearer ", "X-Other: ", 401, "missing_authorization", "Authorization"},
        {"Bearer ", "Basic ", 401, "wrong_authorization", "Bearer"},
        {"Bearer ", "Bearer 0", 401, "invalid_token", "token"},
        {"api.vestara.example", "oauth.vestara.example", 421, "wrong_host", "api.vestara.example"},
        {"api.vestara.example", "api.vestara.example:443", 421, "wrong_host", "443"},
        {"Host: api.vestara.example\r\n", "", 400, "missing_host", "Host"},
        {"Host: ", "Host: api.vestara.example\r\nHost: ", 400, "duplicate_header", "Host"},
        {"\r\n\r\n", "\r\nContent-Length: 0\r\n\r\n", 400, "unexpected_header", "Content-Length"},
        {"\r\n\r\n", "\r\nContent-Type: application/json\r\n\r\n", 400, "unexpected_header", "Content-Type"},
        {"\r\n\r\n", "\r\n\r\n\r\n", 400, "trailing_bytes", "bytes"},
        {"\r\n\r\n", "\r\n", 400, "incomplete_request", "ends"},
    };
    for (const Change& row : rows) {
        SCOPED_TRACE(row.from + " -> " + row.to);
        std::string bytes = right;
        bytes.replace(bytes.find(row.from), row.from.size(), row.to);
        Expect(Send(bytes), row);
    }
}

TEST_F(StrictnessTest, WrongWritesAreRefusedAndNamed)
{
    const std::string right =
        Bytes("PUT /devices/front/unlock", "Content-Length: 0\r\nContent-Type: application/json\r\n\r\n\r\n");
    const Change rows[] = {
        {"Content-Length: 0\r\n", "", 411, "missing_content_length", "Content-Length"},
        {"Content-Length: 0\r\nContent-Type: application/json\r\n\r\n",
         "Transfer-Encoding: chunked\r\nContent-Type: application/json\r\n\r\n0\r\n", 411,
         "missing_content_length", "chunks"},
        {"Content-Type: application/json", "X: y", 415, "missing_content_type", "Content-Type"},
        {"Content-Type: application/json", "Content-Type: text/plain", 415, "wrong_content_type",
         "text/plain"},
        {"\r\n\r\n\r\n", "\r\n\r\n\r\n\r\n", 400, "trailing_bytes", "Content-Length"},
        {"\r\n\r\n\r\n", "\r\n\r\n{}", 400, "trailing_bytes", "Content-Length"},
        {"Length: 0", "Length: 2", 400, "unexpected_body", "empty"},
        {"Length: 0", "Length: 3", 400, "incomplete_request", "ends"},
        {"Length: 0", "Length: -1", 400, "malformed_request", "Content-Length"},
        {"Length: 0", "Length: 1048577", 413, "body_too_large", "1 MiB"},
        {"PUT", "POST", 405, "method_not_allowed", "PUT"},
        {"front", "nobody", 404, "unknown_device", "device"},
    };
    for (const Change& row : rows) {
        SCOPED_TRACE(row.from + " -> " + row.to);
        std::string bytes = right;
        bytes.replace(bytes.find(row.from), row.from.size(), row.to);
        Expect(Send(bytes), row);
        EXPECT_FALSE(FirstLock().pending);
    }
    EXPECT_EQ(Send(right).status, 200);
    EXPECT_EQ(FirstLock().pending, LockState::Unlocked);
}

TEST_F(StrictnessTest, WrongBodiesAreRefusedAndNamed)
{
    const Change rows[] = {
        {"/access_persons", "", 400, "missing_body", "empty"},
        {"/access_persons", "{", 400, "malformed_json", "JSON"},
        {"/access_persons", std::string(100000, '['), 400, "malformed_json", "JSON"},
        {"/access_persons", "{\"type\":\"\xff\"}", 400, "malformed_json", "JSON"},
        {"/access_persons", "[]", 422, "wrong_type", "object"},
        {"/access_persons", R"({"attributes":{"name":"B","pin":"55555"}})", 422, "missing_field", "type"},
        {"/access_persons", R"({"type":"user","attributes":{}})", 422, "bad_value", "access_user"},
        {"/access_persons", R"({"type":"access_user"})", 422, "missing_field", "attributes"},
        {"/access_persons", R"({"type":"access_user","attributes":{"pin":"55555"}})", 422, "missing_field",
         "attributes.name"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"","pin":"55555"}})", 422,
         "bad_value", "attributes.name"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","pin":55555}})", 422,
         "wrong_type", "attributes.pin"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","pin":"123"}})", 422,
         "bad_value", "attributes.pin"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","pin":"12345678901234567"}})",
         422, "bad_value", "attributes.pin"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","pin":"12a4"}})", 422,
         "bad_value", "attributes.pin"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","email":"x","pin":"55555"}})",
         422, "bad_value", "attributes.email"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","pin":"55555","id":"1"}})", 422,
         "unknown_field", "attributes.id"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","pin":"55555"},"x":1})", 422,
         "unknown_field", "x"},
        {"/access_persons", R"({"type":"access_user","attributes":{"name":"B","pin":"1234"}})", 422,
         "pin_taken", "pin"},
        {"/access_persons/alex/accesses", R"({"attributes":{"accessible_id":"back"}})", 422, "missing_field",
         "accessible_type"},
        {"/access_persons/alex/accesses",
         R"({"attributes":{"accessible_id":"back","accessible_type":"door"}})", 422, "bad_value", "lock"},
        {"/access_persons/alex/accesses",
         R"({"attributes":{"accessible_id":"nobody","accessible_type":"lock"}})", 404, "unknown_device",
         "device"},
        {"/access_persons/alex/accesses",
         R"({"attributes":{"accessible_id":"front","accessible_type":"lock"}})", 409, "duplicate_access",
         "already"},
        {"/access_persons/bob/accesses",
         R"({"attributes":{"accessible_id":"front","accessible_type":"lock"}})", 404, "unknown_access_person",
         "person"},
        {"/access_persons/alex/email/notify", "", 422, "missing_email", "e-mail"},
        {"/access_persons/alex/email/notify", "{}", 400, "unexpected_body", "empty"},
    };
    for (const Change& row : rows) {
        SCOPED_TRACE(row.from + " " + row.to.substr(0, 100));
        Expect(Write("POST", row.from, row.to), row);
    }
    EXPECT_EQ(cloud.CurrentWorld().persons.size(), 1U);
    EXPECT_EQ(cloud.CurrentWorld().accesses.size(), 1U);
}

} // namespace
} // namespace cloudsim::test
