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

bool HasControl(const std::string& Text)
{
    return std::any_of(Text.begin(), Text.end(), IsControl);
}

bool IsEmail(const std::string& Text)
{
    const std::size_t At = Text.find('@');
    return Text.size() <= 254 && At != std::string::npos && At > 0 && At + 1 < Text.size() &&
           Text.find('@', At + 1) == std::string::npos && Text.find(' ') == std::string::npos &&
           !HasControl(Text);
}

bool IsPin(const std::string& Text)
{
    return Text.size() >= 4 && Text.size() <= 16 &&
           std::all_of(Text.begin(), Text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

void IDServer::NoteUsed(unsigned ID)
{
    m_Next = std::max(m_Next, ID + 1);
}

void EventServer::Register(unsigned Owner, unsigned Source)
{
    m_OwnerBySource[Source] = Owner;
}

int EventServer::DeleteAllByOwner(unsigned uOwnerID)
{
    return std::erase_if(m_OwnerBySource, [&](const auto& Entry) { return Entry.second == uOwnerID; }) ? 1
                                                                                                       : 0;
}

void EventServer::DeleteBySource(unsigned Source)
{
    m_OwnerBySource.erase(Source);
}

void TabLayout::AppendAllTabID(unsigned uComponentID, int /*iReserved*/)
{
    if (std::find(m_Components.begin(), m_Components.end(), uComponentID) == m_Components.end())
        m_Components.push_back(uComponentID);
}

void TabLayout::Remove(unsigned ComponentID)
{
    std::erase(m_Components, ComponentID);
}

std::optional<std::string> CheckUser(const UserData& User)
{
    if (User.Name.empty() || User.Name.size() > 64 || HasControl(User.Name))
        return "name must have 1 to 64 bytes and no control characters";
    if (!User.Email.empty() && !IsEmail(User.Email))
        return "email must be empty or an address like name@example.com";
    if (!IsPin(User.Pin))
        return "pin must have 4 to 16 digits";
    return std::nullopt;
}

std::optional<std::string> CheckNewName(const std::string& Name)
{
    // Line feeds are control characters, which no name has.
    if (Name.ends_with(' '))
        return "name must not end in a blank: the cloud's name comes back without it, so that the user would "
               "not be found in the cloud after a restart";
    return std::nullopt;
}

CUser* SecurityServer::GetUserAtDoorLockSlot(int iSlot)
{
    return iSlot >= 0 && iSlot < kSlots ? m_Users[static_cast<std::size_t>(iSlot)].get() : nullptr;
}

std::optional<std::string> SecurityServer::SetUser(int Slot, const UserData& User)
{
    if (Slot < 0 || Slot >= kSlots)
        return "slot must be 0 to 29";
    if (auto Fault = CheckUser(User))
        return Fault;
    m_Users[static_cast<std::size_t>(Slot)] =
        std::make_unique<CUser>(Slot + 1, User.Name.c_str(), User.Email.c_str(), User.Pin.c_str());
    return std::nullopt;
}

std::optional<std::string> SecurityServer::FindDuplicate(int Slot, const UserData& User) const
{
    for (int Other = 0; Other < kSlots; ++Other) {
        const CUser* pOther = m_Users[static_cast<std::size_t>(Other)].get();
        if (!pOther || Other == Slot)
            continue;
        const std::string Who = " is that of the user at slot " + std::to_string(Other);
        if (pOther->Name().Compare(User.Name.c_str()) == 0)
            return "name" + Who;
        if (pOther->PIN_DoorLock().Compare(User.Pin.c_str()) == 0)
            return "pin" + Who;
    }
    return std::nullopt;
}

bool SecurityServer::DeleteUser(int Slot)
{
    if (!GetUserAtDoorLockSlot(Slot))
        return false;
    m_Users[static_cast<std::size_t>(Slot)].reset();
    return true;
}

void TraceServer::LoadStateFor(CTraceProducer* pProducer)
{
    const auto Found = m_Switches.find(static_cast<const char*>(pProducer->TraceName()));
    pProducer->TraceEnabled(Found == m_Switches.end() ? m_Default : Found->second);
}

} // namespace devhost
