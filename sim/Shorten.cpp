// Shortens a failing run. What a failure is says the caller.

#include "sim/Simulation.h"

#include <algorithm>
#include <utility>

namespace sim
{

namespace
{

using Fails = std::function<std::optional<Breach>(const Settings&)>;

class Shortener
{
public:
    Shortener(Settings settings, std::string rule, const Fails& fails)
        : m_best(std::move(settings)), m_rule(std::move(rule)), m_fails(fails)
    {
    }

    // Keeps the settings when the same rule breaks with them, with no more time than until then.
    bool Try(Settings settings)
    {
        const auto breach = m_fails(settings);
        if (!breach || breach->rule != m_rule)
            return false;
        settings.hours = HoursOf(*breach);
        m_best = settings;
        return true;
    }

    // Takes out ever smaller parts of the operations, as delta debugging does.
    void DropOperations()
    {
        std::size_t part = m_best.operations.size();
        while (part > 0) {
            bool dropped = false;
            for (std::size_t at = 0; at < m_best.operations.size();) {
                Settings fewer = m_best;
                const auto begin = fewer.operations.begin() + static_cast<std::ptrdiff_t>(at);
                const std::size_t count = std::min(part, fewer.operations.size() - at);
                fewer.operations.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
                if (Try(fewer))
                    dropped = true;
                else
                    at += part;
            }
            part = dropped ? std::min(part, m_best.operations.size()) : part / 2;
        }
    }

    void Lower(int Settings::*number, int least)
    {
        while (m_best.*number > least) {
            Settings fewer = m_best;
            fewer.*number = std::max(least, fewer.*number / 2);
            if (!Try(fewer)) {
                fewer = m_best;
                --(fewer.*number);
                if (!Try(fewer))
                    return;
            }
        }
    }

    static int HoursOf(const Breach& breach)
    {
        constexpr std::uint64_t kHourMs = 3'600'000;
        return static_cast<int>(breach.atMs / kHourMs) + 1;
    }
    const Settings& Best() const { return m_best; }

private:
    Settings m_best;
    std::string m_rule;
    const Fails& m_fails;
};

} // namespace

Settings Shorten(const Settings& settings, const Result& failed, const Fails& fails)
{
    Shortener shortener(settings, failed.breach->rule, fails);
    Settings first = settings;
    first.someOperations = true;
    first.operations = failed.operations;
    first.hours = Shortener::HoursOf(*failed.breach);
    if (!shortener.Try(first))
        return settings;
    shortener.Lower(&Settings::accounts, 1);
    shortener.DropOperations();
    shortener.Lower(&Settings::locks, 1);
    shortener.Lower(&Settings::users, 1);
    return shortener.Best();
}

} // namespace sim
