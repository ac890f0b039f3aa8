// Ids, event registrations, users and trace switches of the host. Saving them is Configuration.cpp's.

#include "devhost/framework/system/Servers.h"

#include <algorithm>

namespace devhost
{

namespace
{

bool IsControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool HasControl(const std::string& text)
{
    return std::any_of(text.begin(), text.end(), IsControl);
}

bool IsEmail(const std::string& text)
{
    const std::size_t at = text.find('@');
    return text.size() <= 254 && at != std::string::npos && at > 0 && at + 1 < text.size() &&
           text.find('@', at + 1) == std::string::npos && text.find(' ') == std::string::npos &&
           !HasControl(text);
}

bool IsPin(const std::string& text)
{
    return text.size() >= 4 && text.size() <= 16 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

void IdServer::NoteUsed(unsigned id)
{
    m_next = std::max(m_next, id + 1);
}

void EventServer::Register(unsigned owner, unsigned source)
{
    m_ownerBySource[source] = owner;
}

int EventServer::DeleteAllByOwner(unsigned ownerId)
{
    return std::erase_if(m_ownerBySource, [&](const auto& entry) { return entry.second == ownerId; }) ? 1 : 0;
}

void EventServer::DeleteBySource(unsigned source)
{
    m_ownerBySource.erase(source);
}

void TabLayout::AppendAllTabID(unsigned componentId, int /*iReserved*/)
{
    if (std::find(m_components.begin(), m_components.end(), componentId) == m_components.end())
        m_components.push_back(componentId);
}

void TabLayout::Remove(unsigned componentId)
{
    std::erase(m_components, componentId);
}

std::optional<std::string> CheckUser(const UserData& user)
{
    if (user.name.empty() || user.name.size() > 64 || HasControl(user.name))
        return "name must have 1 to 64 bytes and no control characters";
    if (!user.email.empty() && !IsEmail(user.email))
        return "email must be empty or an address like name@example.com";
    if (!IsPin(user.pin))
        return "pin must have 4 to 16 digits";
    return std::nullopt;
}

std::optional<std::string> CheckNewName(const std::string& name)
{
    // Line feeds are control characters, which no name has.
    if (name.ends_with(' '))
        return "name must not end in a blank: the cloud's name comes back without it, so that the user would "
               "not be found in the cloud after a restart";
    return std::nullopt;
}

CUser* SecurityServer::GetUserAtDoorLockSlot(int slot)
{
    return slot >= 0 && slot < kSlots ? m_users[static_cast<std::size_t>(slot)].get() : nullptr;
}

std::optional<std::string> SecurityServer::SetUser(int slot, const UserData& user)
{
    if (slot < 0 || slot >= kSlots)
        return "slot must be 0 to 29";
    if (auto fault = CheckUser(user))
        return fault;
    m_users[static_cast<std::size_t>(slot)] =
        std::make_unique<CUser>(slot + 1, user.name.c_str(), user.email.c_str(), user.pin.c_str());
    return std::nullopt;
}

std::optional<std::string> SecurityServer::FindDuplicate(int slot, const UserData& user) const
{
    for (int otherSlot = 0; otherSlot < kSlots; ++otherSlot) {
        const CUser* other = m_users[static_cast<std::size_t>(otherSlot)].get();
        if (!other || otherSlot == slot)
            continue;
        const std::string who = " is that of the user at slot " + std::to_string(otherSlot);
        if (other->Name().Compare(user.name.c_str()) == 0)
            return "name" + who;
        if (other->PIN_DoorLock().Compare(user.pin.c_str()) == 0)
            return "pin" + who;
    }
    return std::nullopt;
}

bool SecurityServer::DeleteUser(int slot)
{
    if (!GetUserAtDoorLockSlot(slot))
        return false;
    m_users[static_cast<std::size_t>(slot)].reset();
    return true;
}

void TraceServer::LoadStateFor(CTraceProducer* producer)
{
    const auto found = m_switches.find(static_cast<const char*>(producer->TraceName()));
    producer->TraceEnabled(found == m_switches.end() ? m_default : found->second);
}

} // namespace devhost
