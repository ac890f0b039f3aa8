// Checks the admin routes: what they show and hide, whom they refuse, and the injected faults.
#include "cloudsim/server/AdminSave.h"
#include "cloudsim/server/StateFolder.h"
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{

using AdminTest = CloudTest;

TEST_F(AdminTest, SecretsAreShownInTheWorldWhenAskedForAndNeverInTheLog)
{
    const std::string open = Admin("GET /admin/world").body;
    const std::string full = Admin("GET /admin/world?secrets=1").body;
    for (const std::string& secret : {std::string("\"1234\""), std::string("111222"), m_accessToken}) {
        EXPECT_THAT(open, Not(HasSubstr(secret)));
        EXPECT_THAT(full, HasSubstr(secret));
    }
    Get("/devices");
    Get("/devices?token=" + m_accessToken);
    const std::string entry = R"({"time":"2026-03-01T12:00:00Z","method":"GET","path":"/devices",)";
    EXPECT_EQ(Admin("GET /admin/requests?limit=2").body,
              R"({"requests":[)" + entry + R"("status":200,"errorcode":null},)" + entry +
                  R"("status":400,"errorcode":"unexpected_query"}]})");
}

TEST_F(AdminTest, RevokedTokensAndDeletedLocksAreGone)
{
    Expect(Admin("DELETE /admin/locks/front"), "200");
    EXPECT_TRUE(m_cloud.CurrentWorld().accesses.empty());
    EXPECT_EQ(Admin("POST /admin/tokens/revoke").body, R"({"access":1,"refresh":0})");
    Expect(Get("/devices"), "401 invalid_token");
    EXPECT_EQ(Admin("POST /admin/tokens/revoke", R"({"refresh":true})").body, R"({"access":0,"refresh":1})");
    EXPECT_TRUE(m_cloud.CurrentWorld().refreshTokens.empty());
}

TEST_F(AdminTest, HousesLocksAndPersonsComeAreRenamedAndGo)
{
    const auto add = [this](const std::string& kind, const std::string& body) {
        const Json reply = Json::parse(Admin("POST /admin/" + kind, body).body);
        Expect(Admin("PUT /admin/" + kind + "/" + reply.value("id", ""), R"({"name":"New"})"), "200");
        return reply.value("id", "");
    };
    const std::string house = add("locations", R"({"name":"Cabin"})");
    const std::string lock = add("locks", R"({"name":"Gate","location_id":")" + house + R"("})");
    const std::string person = add("access_persons", R"({"name":"Kim","pin":"5678"})");
    const World& world = m_cloud.CurrentWorld();
    EXPECT_EQ(world.locations.back().name + world.locks.back().name + world.persons.back().name, "NewNewNew");
    EXPECT_NO_THROW(LoadWorld(WholeWorld(), m_now));
    EXPECT_THAT(Get("/devices").body, HasSubstr(lock));
    Expect(Admin("DELETE /admin/locations/" + house), "409 location_in_use");
    Expect(Admin("DELETE /admin/access_persons/alex"), "200");
    EXPECT_TRUE(world.accesses.empty()) << "the rights go with the person";
    for (const std::string& path : {"locks/" + lock, "locations/" + house, "access_persons/" + person}) {
        Expect(Admin("DELETE /admin/" + path), "200", path);
        Expect(Admin("PUT /admin/" + path, R"({"name":"New"})"), "404", path);
    }
    for (int i = 1; i < 50; ++i)
        add("locations", R"({"name":"Cabin"})");
    Expect(Admin("POST /admin/locations", R"({"name":"Cabin"})"), "409 too_many");
}

TEST_F(AdminTest, WrongAdminRequestsAreRefusedAndNamed)
{
    const std::string before = WholeWorld();
    const std::string rows[][3] = {
        {"GET /admin/save", "", "405 method_not_allowed"},
        {"POST /admin/locks/nobody/turn", R"({"state":"locked"})", "404 unknown_lock"},
        {"POST /admin/locks/front/turn", R"({"state":"open"})", "422 bad_value state"},
        {"POST /admin/locks/front/battery", R"({"level":101})", "422 bad_value level"},
        {"POST /admin/locks/front/battery", R"({"level":18446744073709551615})", "422 bad_value level"},
        {"PUT /admin/locks/front", R"({"name":""})", "422 bad_value name must have 1 to 200"},
        {"POST /admin/locks", R"({"name":"Gate","location_id":"x"})", "422 bad_value location_id"},
        {"POST /admin/access_persons", R"({"name":"Kim","pin":"1234"})", "409 pin_taken"},
        {"POST /admin/locks/front/pin", R"({"pin":"0000"})", "403 pin_refused"},
        {"POST /admin/locks/back/pin", R"({"pin":"1234"})", "403 pin_refused"},
        {"POST /admin/faults", R"([{"kind":"cut"},{"kind":"x"}])", "422 bad_value faults[1].kind"},
        {"POST /admin/faults", R"({"faults":[{"kind":"cut"}]})",
         "422 wrong_type the document must be an array"},
        {"POST /admin/faults", R"([{"kind":"body","body":null}])", "422 wrong_type faults[0].body"},
        {"POST /admin/faults", R"([{"kind":"cut","match":{"path":null}}])",
         "422 wrong_type faults[0].match.path"},
        {"POST /admin/tokens/revoke", "[]", "422 wrong_type the document must be an object"},
        {"DELETE /admin/faults", R"({"kind":"cut"})", "422 unknown_field kind"},
        {"GET /admin/world?secrets=yes", "", "400 bad_query secrets"},
        {"GET /admin/world?limit=1", "", "400 bad_query the query"},
        {"POST /admin/faults", NestedArrays(64), "422 wrong_type faults[0]"},
        {"POST /admin/faults", NestedArrays(65), "400 malformed_json the body is nested deeper than 64"},
        {"POST /admin/faults", NestedArrays(150000), "400 malformed_json the body is nested deeper than 64"},
        {"GET /admin/requests?limit=x", "", "400 bad_query"},
    };
    for (const auto& [line, body, outcome] : rows)
        Expect(Admin(line, body), outcome, line + " " + body);
    EXPECT_EQ(WholeWorld(), before);
    EXPECT_EQ(Admin("GET /admin/faults").body, R"({"faults":[]})");
}

TEST_F(AdminTest, ForeignPagesAreRefused)
{
    const std::string line = "POST /admin/tokens/revoke";
    Expect(Admin(line, "", {{"Host", "127.0.0.1:1"}, {"Origin", "http://evil.test"}}), "403 foreign_origin");
    Expect(Admin(line, "", {{"Host", "evil.test:1"}}), "421 wrong_host");
    Expect(Admin(line, "{}", {{"Host", "localhost"}, {"Content-Type", "text/plain"}}),
           "415 wrong_content_type");
    Expect(Get("/devices"), "200");
}

TEST_F(AdminTest, FaultsHitMatchingRequestsInOrderAndRunOut)
{
    const std::string whole = Get("/devices").body;
    const std::string faults =
        R"([{"kind":"status","status":500,"match":{"method":"GET","path":"/devices"},"count":2},
            {"kind":"bad_json","match":{"path":"/dev"}}, {"kind":"truncate"},
            {"kind":"body","body":"[1]","status":201}, {"kind":"status","status":503}, {"kind":"close"},
            {"kind":"cut"}])";
    Expect(Admin("POST /admin/faults", faults), "200");
    Expect(Get("/devices"), "500 injected_fault");
    Expect(Get("/devices/front"), "500 injected_fault");
    EXPECT_FALSE(Json::accept(Get("/devices").body));
    EXPECT_EQ(Get("/devices").body, whole.substr(0, whole.size() / 2));
    const std::string replaced = m_cloud.HandleRaw(Bytes("GET /devices"), m_now);
    EXPECT_THAT(replaced,
                testing::AllOf(StartsWith("HTTP/1.1 201 Created\r\n"), testing::EndsWith("\r\n\r\n[1]")));
    Expect(Write("PUT /devices/front/unlock"), "503 injected_fault");
    EXPECT_TRUE(Write("PUT /devices/front/unlock").closeWithoutReply);
    EXPECT_FALSE(FirstLock().pending) << "what replaces the reply keeps the request from taking effect";
    EXPECT_TRUE(Write("PUT /devices/front/unlock").cutAfterBytes);
    EXPECT_TRUE(FirstLock().pending);
    EXPECT_FALSE(Get("/devices").cutAfterBytes);
    Admin("POST /admin/faults", R"([{"kind":"close","count":0,"seconds":60}])");
    m_now += 59999ms;
    EXPECT_TRUE(Get("/devices").closeWithoutReply);
    EXPECT_THAT(Admin("GET /admin/faults").body, HasSubstr(R"("count":0,"seconds":1}])"));
    m_now += 1ms;
    EXPECT_FALSE(Get("/devices").closeWithoutReply);
    Admin("POST /admin/faults", faults);
    EXPECT_EQ(Admin("DELETE /admin/faults").body, R"({"faults":[]})");
}

TEST_F(AdminTest, WorldIsSavedIntoItsFolderOnly)
{
    std::string folder = testing::TempDir() + "cloudsim-XXXXXX";
    ASSERT_TRUE(mkdtemp(folder.data()));
    const auto save = [&](const std::string& path, const std::string& host = "localhost") {
        const std::string body = R"({"path":")" + path + R"("})";
        Request request = AdminRequest("POST /admin/save", body);
        request.headers[0].value = host;
        return HandleAdminWithFiles(m_cloud, request, folder, m_now);
    };
    for (const std::string path : {"", "..", "../w", "ca-key.pem", "w\\u0000"})
        Expect(save(path), "422 bad_value path", path);
    Expect(save(folder + "/w"), "422 bad_value path");
    Expect(save("w", "evil.test"), "421 wrong_host");
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    EXPECT_EQ(save("w").body, R"({"saved":")" + folder + R"(/w"})");
    EXPECT_EQ(ReadFile(folder + "/w"), WholeWorld());
    EXPECT_EQ(Admin("POST /admin/save").body, ToText(Json::parse(WholeWorld())));
    std::filesystem::remove_all(folder);
}

} // namespace cloudsim::test
