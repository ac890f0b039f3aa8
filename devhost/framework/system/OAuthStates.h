#pragma once
// State values of the OAuth flow.

#include <deque>
#include <string>

namespace devhost
{

/// Issues the state values that bind an authorisation to the bridge that asked for it (RFC 6749, section
/// 10.12). A value is random, belongs to one bridge and is good for one redirect. Host thread.
class OAuthStates
{
public:
    /// A new value for a bridge: 192 random bits in hexadecimal, so that it needs no encoding in an address.
    /// Each press of the button asks for another, so a bridge keeps its newest few values and older ones
    /// expire.
    std::string Issue(unsigned bridgeId);

    /// The bridge of a value, which is used up by this; 0 for an unknown, expired or used one.
    unsigned Take(const std::string& state);

    /// Forgets the values of a removed bridge.
    void Drop(unsigned bridgeId);

private:
    struct Entry {
        std::string state;
        unsigned bridgeId;
    };
    std::deque<Entry> m_entries; // oldest first
};

} // namespace devhost
