// Issues and redeems the state values of the OAuth flow; answering the redirect is the configurator's.

#include "devhost/framework/system/OAuthStates.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <random>

namespace devhost
{

namespace
{

// Enough for a few browser tabs.
constexpr std::ptrdiff_t kKeptPerBridge = 16;

} // namespace

std::string OAuthStates::Issue(unsigned BridgeID)
{
    // The system's random source; throws only where the system has none, and then no state is issued.
    std::random_device Random;
    std::string State;
    for (int i = 0; i < 6; ++i) {
        std::array<char, 9> Word{};
        std::snprintf(Word.data(), Word.size(), "%08x", static_cast<std::uint32_t>(Random()));
        State += Word.data();
    }
    const auto IsOurs = [&](const Entry& E) { return E.BridgeID == BridgeID; };
    if (std::count_if(m_Entries.begin(), m_Entries.end(), IsOurs) >= kKeptPerBridge)
        m_Entries.erase(std::find_if(m_Entries.begin(), m_Entries.end(), IsOurs));
    m_Entries.push_back({State, BridgeID});
    return State;
}

unsigned OAuthStates::Take(const std::string& State)
{
    const auto Found =
        std::find_if(m_Entries.begin(), m_Entries.end(), [&](const Entry& E) { return E.State == State; });
    if (Found == m_Entries.end())
        return 0;
    const unsigned BridgeID = Found->BridgeID;
    m_Entries.erase(Found);
    return BridgeID;
}

void OAuthStates::Drop(unsigned BridgeID)
{
    std::erase_if(m_Entries, [&](const Entry& E) { return E.BridgeID == BridgeID; });
}

} // namespace devhost
