// The files of the configurator's page.

#include "devhost/controller/WebPage.h"

#include <gtest/gtest.h>

#include <fstream>

namespace
{

class WebPageTest : public testing::Test
{
protected:
    WebPageTest()
    {
        std::filesystem::create_directories(m_folder / "assets");
        Write("index.html", "<p>");
        Write("assets/main-1.js", "script");
        Write("assets/main-1.js.gz", "compressed");
    }
    ~WebPageTest() override { std::filesystem::remove_all(m_folder); }

    void Write(const char* name, const std::string& text) const { std::ofstream(m_folder / name) << text; }
    static std::optional<devhost::ApiResponse> Get(const devhost::WebPage& page, const std::string& path,
                                                   bool gzip = false, const char* method = "GET")
    {
        devhost::ApiRequest request;
        request.method = method;
        request.path = path;
        request.acceptsGzip = gzip;
        return page.Serve(request);
    }

    const std::filesystem::path m_folder =
        testing::TempDir() + "vestara-web-" + testing::UnitTest::GetInstance()->current_test_info()->name();
};

} // namespace

TEST_F(WebPageTest, ServesWhatItHoldsAndNothingElse)
{
    const devhost::WebPage page(m_folder);
    Write("assets/late.js", "x");
    struct {
        const char* path;
        bool gzip;
        int status;
        std::string body, cache;
    } const rows[] = {
        {"/", true, 200, "<p>", "no-cache"},
        {"/assets/main-1.js", false, 200, "script", "public, max-age=31536000, immutable"},
        {"/assets/main-1.js", true, 200, "compressed", "public, max-age=31536000, immutable"},
        {"/assets/main-1.js.gz", false, 404, "", ""},
        {"/assets/late.js", false, 404, "", ""},
        {"/assets/../index.html", false, 404, "", ""},
    };
    for (const auto& row : rows) {
        const auto reply = Get(page, row.path, row.gzip);
        ASSERT_TRUE(reply) << row.path;
        EXPECT_EQ(reply->status, row.status) << row.path;
        EXPECT_EQ(reply->cacheControl, row.cache) << row.path;
        if (row.status == 200) {
            EXPECT_EQ(reply->body, row.body);
            EXPECT_EQ(reply->gzip, row.body == "compressed");
            EXPECT_NE(reply->contentSecurityPolicy.find("script-src 'self';"), std::string::npos);
        }
    }
    EXPECT_EQ(Get(page, "/", false, "POST")->status, 405);
    EXPECT_FALSE(Get(page, "/api/v1/status"));
}

TEST_F(WebPageTest, SaysWhatIsMissingOrTooMuch)
{
    const devhost::WebPage none{{}};
    EXPECT_EQ(Get(none, "/")->status, 404);
    EXPECT_NE(Get(none, "/")->body.find("scripts/build"), std::string::npos);
    EXPECT_THROW(devhost::WebPage{m_folder / "assets"}, std::runtime_error);
    Write("assets/program.exe", "x");
    EXPECT_THROW(devhost::WebPage{m_folder}, std::runtime_error);
    std::filesystem::remove(m_folder / "assets/program.exe");
    Write("assets/large.css", std::string(devhost::WebPage::kMaxBytes, 'x'));
    EXPECT_THROW(devhost::WebPage{m_folder}, std::runtime_error);
}
