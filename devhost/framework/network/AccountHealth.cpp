// Draws the state of an account from the outcomes of its exchanges.

#include "devhost/framework/network/AccountHealth.h"

#include <utility>

namespace devhost
{

namespace
{

constexpr std::string_view kTokenPath = "/oauth/token";
constexpr std::string_view kLocksPath = "/devices";

thread_local AccountHealth* g_current = nullptr;

std::string WithStatus(const char* what, int status)
{
    return std::string(what) + " (HTTP " + std::to_string(status) + ")";
}

} // namespace

AccountHealth::AccountHealth(unsigned account) : m_account(account)
{
    m_report.reason = "nothing was asked of the cloud yet";
    m_report.since = Clock::now();
}

AccountHealth* AccountHealth::Current()
{
    return g_current;
}

AccountHealth* AccountHealth::Exchange(AccountHealth* other)
{
    return std::exchange(g_current, other);
}

AccountHealth::Scope::Scope(AccountHealth& health) : m_previous(std::exchange(g_current, &health)) {}

AccountHealth::Scope::~Scope()
{
    g_current = m_previous;
}

AccountHealth::Report AccountHealth::Now() const
{
    const std::lock_guard lock(m_mutex);
    Report report = m_report;
    const bool good = report.state == State::Well || report.state == State::Discovering;
    if (good && report.lastGood && Clock::now() - *report.lastGood > kQuietAfter) {
        report.state = State::Quiet;
        report.reason = "nothing was asked of the cloud for a minute, as without tokens or a house";
        report.since = *report.lastGood;
    }
    return report;
}

void AccountHealth::Change(State state, std::string reason)
{
    if (m_report.state != state)
        m_report.since = Clock::now();
    else if (m_report.reason == reason)
        return;
    m_report.state = state;
    m_report.reason = std::move(reason);
    ++m_report.changes;
}

void AccountHealth::NoteError(std::string what)
{
    m_report.lastErrorTime = Clock::now();
    m_report.lastError = std::move(what);
    ++m_report.changes;
}

void AccountHealth::Failed(std::string why)
{
    const std::lock_guard lock(m_mutex);
    ++m_report.failures;
    NoteError(why);
    Change(State::Unreachable, std::move(why));
}

void AccountHealth::Replied(std::string_view method, std::string_view path, int status)
{
    const std::lock_guard lock(m_mutex);
    const bool isToken = path == kTokenPath;
    if (status >= 200 && status < 300) {
        m_report.lastGood = Clock::now();
        m_report.failures = 0;
        m_report.authorised = true;
        // Only the list of locks shows that a house was chosen; what else comes keeps that state.
        if (!isToken && method == "GET" && path == kLocksPath)
            Change(State::Well, "the cloud answers");
        else if (m_report.state != State::Well)
            Change(State::Discovering, "signed in; the locks were not asked for yet");
        return;
    }
    if (isToken && (status == 400 || status == 401)) {
        ++m_report.failures;
        m_report.authorised = false;
        NoteError(WithStatus("the cloud refused to give tokens", status));
        Change(State::NeedsAuthorisation, m_report.lastError);
    } else if (status == 401) {
        ++m_report.failures;
        NoteError(WithStatus("the cloud does not take the access token", status));
        Change(State::Refused, m_report.lastError);
    } else if (status == 429 || status >= 500) {
        ++m_report.failures;
        NoteError(WithStatus("the cloud cannot serve now", status));
        Change(State::Unreachable, m_report.lastError);
    } else {
        // One request was refused, which says nothing about the account.
        NoteError(WithStatus("the cloud refused a request", status));
    }
}

} // namespace devhost
