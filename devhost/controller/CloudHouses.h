#pragma once
// Which houses the cloud offers to each account, as the traffic shows it.

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace devhost
{

struct Exchange;

/// The names in the lists of houses that accounts got, learned from the exchanges that the host carries for
/// its driver. Written by the workers, read by the host thread; safe by its lock, under which nothing blocks.
class CloudHouses
{
public:
    static constexpr std::size_t kMaxHouses = 1'000; ///< of one list; more are passed over
    static constexpr std::size_t kMaxTextBytes = 200;

    /// Takes in a list of houses; any other exchange is passed over. A worker's thread. Never throws.
    void Take(const Exchange& exchange) noexcept;

    /// The houses of the list that an account got last; nothing when it got none yet.
    std::optional<std::vector<std::string>> Of(unsigned account) const;

    /// Whether a list differed from the one before it since the last call. Host thread.
    bool TakeChanged() { return m_changed.exchange(false); }

    /// Forgets everything. While no worker runs.
    void Forget();

private:
    mutable std::mutex m_mutex;
    std::map<unsigned, std::vector<std::string>> m_names; // by account
    std::atomic<bool> m_changed{false};
};

} // namespace devhost
