// Issues and redeems the state values of the OAuth flow; answering the redirect is the configurator's.

#include "devhost/framework/system/OAuthStates.h"

#include "devhost/framework/values/RandomText.h"

#include <algorithm>

namespace devhost
{

namespace
{

// Enough for a few browser tabs.
constexpr std::ptrdiff_t kKeptPerBridge = 16;

} // namespace

std::string OAuthStates::Issue(unsigned bridgeId)
{
    std::string state = RandomText();
    const auto isOurs = [&](const Entry& e) { return e.bridgeId == bridgeId; };
    if (std::count_if(m_entries.begin(), m_entries.end(), isOurs) >= kKeptPerBridge)
        m_entries.erase(std::find_if(m_entries.begin(), m_entries.end(), isOurs));
    m_entries.push_back({state, bridgeId});
    return state;
}

unsigned OAuthStates::Take(const std::string& state)
{
    const auto found =
        std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.state == state; });
    if (found == m_entries.end())
        return 0;
    const unsigned bridgeId = found->bridgeId;
    m_entries.erase(found);
    return bridgeId;
}

void OAuthStates::Drop(unsigned bridgeId)
{
    std::erase_if(m_entries, [&](const Entry& e) { return e.bridgeId == bridgeId; });
}

} // namespace devhost
