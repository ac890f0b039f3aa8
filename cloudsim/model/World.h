#pragma once

#include "cloudsim/model/Time.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cloudsim
{

enum class LockState { Locked, Unlocked };

// "locked" or "unlocked".
std::string_view ToText(LockState state);
std::optional<LockState> ParseLockState(std::string_view text);

// What a lock measures about itself.
struct LockStatus {
    LockState state = LockState::Locked;
    int powerLevel = 100; // percent
    int wifiLevel = 100;  // percent

    bool operator==(const LockStatus&) const = default;
};

// A battery lock that is awake at its heartbeats only.
struct Lock {
    std::string id;
    std::string name;
    std::string locationId;
    std::string serialNumber;
    std::string programmingCode;
    std::string powerSource;
    std::chrono::seconds heartbeatInterval{300};

    LockStatus physical; // how things are at the door
    LockStatus reported; // what the lock told the cloud last

    bool online = true; // the lock reaches the cloud
    bool alive = true;  // the cloud has heard from it lately
    int missedHeartbeats = 0;
    std::optional<LockState> pending; // waits in the cloud for the next heartbeat

    TimePoint connectedAt;   // last heartbeat that arrived
    TimePoint updatedAt;     // last change of what the cloud knows
    TimePoint nextHeartbeat; // due then, whether or not the lock is online
};

struct Location {
    std::string id;
    std::string name;
};

struct AccessPerson {
    std::string id;
    std::string name;
    std::string pin;
    std::optional<std::string> email;
};

// A person's right to open one lock.
struct Access {
    std::string id;
    std::string personId;
    std::string lockId;
};

struct AccessToken {
    std::string token;
    TimePoint expiresAt;
};

// Everything that outlives a restart of the simulator. A world holds one account.
struct World {
    std::string accountName;
    std::string accountEmail;
    std::vector<Location> locations;
    std::vector<Lock> locks;
    std::vector<AccessPerson> persons;
    std::vector<Access> accesses;
    std::vector<AccessToken> accessTokens;
    std::vector<std::string> refreshTokens;
};

// Gives a text of lowercase hexadecimal digits made from the given number of random bytes.
using RandomSource = std::function<std::string(std::size_t byteCount)>;

// A repeatable source for tests; nothing that it gives is a secret.
RandomSource SeededRandom(std::uint64_t seed);

// Finds by id; null when there is none. The pointer holds until the list changes.
template <typename Item>
auto FindById(std::vector<Item>& items, std::string_view id) -> Item*
{
    for (Item& item : items) {
        if (item.id == id)
            return &item;
    }
    return nullptr;
}

} // namespace cloudsim
