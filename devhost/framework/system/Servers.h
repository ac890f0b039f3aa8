#pragma once
// The host's servers behind the singletons: ids, event registrations, users, trace switches.

#include "host/Servers.h"
#include "host/Trace.h"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace devhost
{

/// Hands out ids of bridges and components. Host thread.
class IdServer : public CIDServer
{
public:
    /// The next id; never 0, and above every id that was noted.
    unsigned NewID() override { return m_next++; }
    /// Keeps later ids above an id that is in use.
    void NoteUsed(unsigned id);
    unsigned Next() const { return m_next; }

private:
    unsigned m_next = 1;
};

/// Who wants the events of which component. Host thread.
class EventServer : public CEventServer
{
public:
    /// Notes the owner (a bridge id) of a source (a component id). A second registration of the pair changes
    /// nothing; a source that was claimed by another bridge follows the new owner.
    void Register(unsigned owner, unsigned source);
    int DeleteAllByOwner(unsigned ownerId) override;
    void DeleteBySource(unsigned source);
    std::size_t Count() const { return m_ownerBySource.size(); }

private:
    std::map<unsigned, unsigned> m_ownerBySource;
};

/// The components that appear on the tabs of the controller's screens, each once. Host thread.
class TabLayout : public CTabLayoutManager
{
public:
    void AppendAllTabID(unsigned componentId, int reserved) override;
    void Remove(unsigned componentId);
    const std::vector<unsigned>& Components() const { return m_components; }

private:
    std::vector<unsigned> m_components;
};

/// A user as it is entered.
struct UserData {
    std::string name;  ///< 1 to 64 bytes of UTF-8 without control characters
    std::string email; ///< empty, or local@domain of at most 254 bytes
    std::string pin;   ///< 4 to 16 decimal digits
};

/// What is wrong with a user, for people; nothing when the user can be stored. Names no secret.
std::optional<std::string> CheckUser(const UserData& user);

/// Why a name is not to be entered although it can be stored; nothing when it may be.
///
/// The name is what ties a user to a person of the cloud, and drivers cut blanks and line feeds from the end
/// of what the cloud sends. A name that ends so finds its person no more after a restart, and emptying the
/// slot would leave the person with PIN and access.
std::optional<std::string> CheckNewName(const std::string& name);

/// Users by door-lock slot. Host thread.
class SecurityServer : public CSecurityServer
{
public:
    static constexpr int kSlots = 30;

    CUser* GetUserAtDoorLockSlot(int slot) override;
    CTabLayoutManager* TabLayoutManager() override { return &m_tabs; }
    void Update() override { ++m_updates; }

    /// Stores a user. Its id is the slot's number counted from one, so that commands and reports, which
    /// number users from one, mean the same user.
    /// @return what is wrong with the user or the slot; nothing when it was stored.
    std::optional<std::string> SetUser(int slot, const UserData& user);
    /// Why a user is not to be entered at a slot: another slot has its name, which ties a person of the cloud
    /// to one slot, or its PIN, which the cloud gives out once. Names no secret, but the slot.
    std::optional<std::string> FindDuplicate(int slot, const UserData& user) const;
    /// @return whether there was a user.
    bool DeleteUser(int slot);
    TabLayout& Tabs() { return m_tabs; }
    int Updates() const { return m_updates; }

private:
    std::array<std::unique_ptr<CUser>, kSlots> m_users;
    TabLayout m_tabs;
    int m_updates = 0;
};

/// Trace switches by the producer's name. Host thread.
class TraceServer : public CTraceServer
{
public:
    /// Sets the producer's switch to the stored one, or to the default for an unknown name.
    void LoadStateFor(CTraceProducer* producer) override;
    void Store(const std::string& name, bool enabled) { m_switches[name] = enabled; }
    /// What producers without a stored switch start with.
    void Default(bool enabled) { m_default = enabled; }
    bool Default() const { return m_default; }
    /// Forgets every stored switch, so that the default holds for all.
    void Clear() { m_switches.clear(); }
    const std::map<std::string, bool>& Switches() const { return m_switches; }

private:
    std::map<std::string, bool> m_switches;
    bool m_default = false;
};

} // namespace devhost
