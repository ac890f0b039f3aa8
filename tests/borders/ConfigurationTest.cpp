// Configurations that were damaged in every way of a table: what is not hit loads and is saved again, and
// nothing is lost without a report.

#include "devhost/framework/record/Configuration.h"
#include "tests/devhost/FakePlugin.h"
#include "tests/support/Table.h"

#include <algorithm>

namespace
{

using support::Split;

class ConfigurationBorderTest : public SystemTest
{
protected:
    // Two accounts, each with a lock, two users and a switch, as they are after a restart.
    void SetUp() override
    {
        auto [first, second] = RestartWithTwo();
        AddLock(first, "Front door");
        AddLock(second, "Back door");
        ASSERT_FALSE(m_system->Security().SetUser(2, {"Ann", "ann@example.com", "1234"}));
        ASSERT_FALSE(m_system->Security().SetUser(7, {"Bob", "", "4321"}));
        m_system->SetTrace("Fake", true);
        ASSERT_EQ(m_system->Save(), "");
        Restart();
        ASSERT_EQ(m_system->Save(), "");
        m_sound = *m_store.text;
        m_journal.Take();
    }

    // What this way makes of the sound text, at every place.
    std::vector<std::string> Damaged(const std::string& way, const std::string& with) const
    {
        std::vector<std::string> texts;
        const std::vector<std::string> lines = Split(m_sound, '\n');
        const auto join = [&](const std::vector<std::string>& some) {
            std::string& text = texts.emplace_back();
            for (const std::string& line : some)
                text += line + "\n";
        };
        for (std::size_t i = 0; i < lines.size(); ++i) {
            std::vector<std::string> lost = lines;
            lost.erase(lost.begin() + static_cast<std::ptrdiff_t>(i));
            if (way == "lose line")
                join(lost);
            for (std::size_t j = 0; j < lines.size(); ++j) {
                std::vector<std::string> some = lines;
                if (way == "swap" && i < j) {
                    std::swap(some[i], some[j]);
                    join(some);
                } else if (way == "replace" && i != j) {
                    some[j] = some[i];
                    join(some);
                } else if (way == "copy") {
                    some.insert(some.begin() + static_cast<std::ptrdiff_t>(j), lines[i]);
                    join(some);
                }
            }
        }
        if (way == "turn")
            join({lines.rbegin(), lines.rend()});
        for (std::size_t i = 0; i < m_sound.size(); ++i) {
            std::string text = m_sound;
            if (way == "flip")
                text[i] = static_cast<char>(text[i] ^ with[0]);
            else if (way == "put")
                text[i] = with[0];
            else if (way == "insert")
                text.insert(i, with);
            else if (way == "lose")
                text.erase(i, 1);
            else if (way == "cut")
                text.resize(i);
            else
                break;
            texts.push_back(text);
        }
        return texts;
    }

    std::string m_sound;
};

} // namespace

TEST_F(ConfigurationBorderTest, WhatIsNotHitIsLoadedAndSavedAndNothingIsLostInSilence)
{
    const auto records = [](const std::string& text) {
        std::vector<std::string> lines = Split(text, '\n');
        std::erase_if(lines,
                      [](const auto& l) { return l.starts_with("configuration ") || l.starts_with("end "); });
        return lines;
    };
    const std::vector<std::string> sound = records(m_sound);
    for (const support::Row& row : support::ReadTable("configuration")) {
        const std::vector<std::string> texts = Damaged(row.at("way"), support::Expand(row.at("with")));
        EXPECT_FALSE(texts.empty()) << row.at("way");
        for (const std::string& damaged : texts) {
            if (damaged == m_sound)
                continue;
            SCOPED_TRACE(row.at("case") + "\n" + damaged);
            m_store.text = damaged;
            m_store.aside.clear();
            Restart();
            const bool reported = !m_journal.TakeReports().empty();
            ASSERT_EQ(m_system->Save(), "");
            const std::vector<std::string> left = records(damaged), saved = records(*m_store.text);
            bool lost = false;
            for (const std::string& record : sound) {
                const bool kept = std::ranges::count(saved, record) == 1;
                EXPECT_TRUE(kept || !std::ranges::count(left, record)) << record;
                lost = lost || !kept;
            }
            EXPECT_LE(saved.size(), sound.size()) << *m_store.text;
            EXPECT_TRUE(reported || !lost);
            EXPECT_EQ(devhost::Configuration::FindFault(damaged).has_value(), reported);
            EXPECT_EQ(m_store.aside, reported ? std::vector{damaged} : std::vector<std::string>{});
            EXPECT_EQ(devhost::Configuration::FindFault(*m_store.text), std::nullopt);
            if (HasFailure())
                return;
        }
    }
}
