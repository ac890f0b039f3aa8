#pragma once
// What the traffic of an account says about its way to the cloud.

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace devhost
{

/// How an account and the cloud get on, learned from the requests that the host carries for its driver and
/// never from the driver itself. Written by the account's worker, read by the host thread; safe by its lock,
/// under which nothing blocks.
class AccountHealth
{
public:
    using Clock = std::chrono::system_clock;
    using Time = Clock::time_point;

    enum class State {
        New,                ///< nothing was asked yet
        NeedsAuthorisation, ///< the cloud gave no tokens when it was asked for some
        Unreachable,        ///< no reply, or one that says that the cloud cannot serve now
        Refused,            ///< the cloud does not take the access token
        Discovering,        ///< signed in; the locks were not asked for yet
        Well,               ///< the last list of locks came
        Quiet, ///< signed in once, but nothing was asked for kQuietAfter: the tokens or the house went
    };
    /// A driver that has tokens and a house asks more often.
    static constexpr std::chrono::seconds kQuietAfter{60};

    struct Report {
        State state = State::New;
        std::string reason; ///< for people, without tokens or names of the cloud's
        Time since;         ///< of the state
        std::optional<Time> lastGood;
        std::optional<Time> lastErrorTime;
        std::string lastError;
        int failures = 0;               ///< exchanges in a row that brought nothing
        std::optional<bool> authorised; ///< as the last reply showed; nothing before one did
        int changes = 0;                ///< counts what a reader would want to know; not every good reply
    };

    /// @param account whose health it is.
    explicit AccountHealth(unsigned account = 0);

    unsigned Account() const { return m_account; }

    /// No reply came. @param why in the transport's words.
    void Failed(std::string why);
    /// A reply came. @param path of the request, without a query; @param status 100 to 599.
    void Replied(std::string_view method, std::string_view path, int status);
    Report Now() const;

    /// The health of the account whose worker the calling thread is; null on another thread.
    static AccountHealth* Current();
    /// Makes another health, or none, that of the calling thread. For whoever runs several workers on one
    /// thread.
    /// @return the one before.
    static AccountHealth* Exchange(AccountHealth* other);

    /// Makes a health that of the calling thread, as long as the object lives.
    class Scope
    {
    public:
        explicit Scope(AccountHealth& health);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        AccountHealth* m_previous;
    };

private:
    void Change(State state, std::string reason);
    void NoteError(std::string what);

    const unsigned m_account;
    mutable std::mutex m_mutex;
    Report m_report;
};

} // namespace devhost
