// The address that the cloud's OAuth server sends a browser back to, and who may come there.

#include "devhost/controller/ConfiguratorApi.h"
#include "devhost/controller/RequestGuard.h"
#include "tests/devhost/FakePlugin.h"
#include "tests/support/Table.h"

namespace
{

// The text with each name in place of its value.
std::string Filled(std::string text, const support::Row& values)
{
    for (const auto& [name, value] : values) {
        for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name))
            text.replace(at, name.size(), value);
    }
    return text;
}

class RedirectBorderTest : public SystemTest
{
};

} // namespace

TEST_F(RedirectBorderTest, ARedirectHandsOverOneCodeOfAStateThatWasIssuedAndExplainsEveryRefusal)
{
    for (const support::Row& row : support::ReadTable("redirect")) {
        SCOPED_TRACE(row.at("case"));
        const auto accounts = RestartWithTwo();
        FakeInterface &first = accounts.first, &second = accounts.second, &gone = AddInterface();
        support::Row states{{"$old", first.NewState()},
                            {"$gone", gone.NewState()},
                            {"$other", second.NewState()},
                            {"$none", std::string(48, 'a')}};
        for (int i = 0; i < 14; ++i)
            first.NewState();
        states["$1"] = first.NewState();
        states["$2"] = first.NewState();
        m_system->RemoveInterface(gone.BridgeID());
        devhost::DiagnosticLog log{{}};
        devhost::CloudPersons persons;
        devhost::ConfiguratorApi::Options options;
        options.log = &log;
        options.persons = &persons;
        devhost::ConfiguratorApi api(*m_system, std::move(options));

        std::string statuses, page;
        for (const std::string& query : support::Split(row.at("redirects"), ' ')) {
            auto request = devhost::ParseTarget("/oauth/redirect?" + Filled(support::Expand(query), states));
            ASSERT_TRUE(request);
            request->method = "GET";
            const devhost::ApiResponse answer = api.Serve(*request);
            statuses += (statuses.empty() ? "" : " ") + std::to_string(answer.status);
            page = answer.body;
            EXPECT_EQ(page.find("<script"), std::string::npos);
            for (const auto& [name, state] : states)
                EXPECT_EQ(page.find(state), std::string::npos) << name;
        }
        EXPECT_EQ(statuses, row.at("statuses"));
        EXPECT_NE(page.find(support::Expand(row.at("says"))), std::string::npos) << page;
        std::string handed;
        for (const FakeInterface* account : {&first, &second}) {
            for (const std::string& code : account->codes)
                handed += (handed.empty() ? "" : " ") +
                          std::string(account == &first ? "first:" : "second:") + code;
        }
        EXPECT_EQ(handed, support::Expand(row.at("handed")));
    }
}
