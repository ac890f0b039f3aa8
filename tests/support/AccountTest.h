#pragma once
// What the tests of the account interface and of the lock share.

#include "support/RecordingLock.h"
#include "support/TestHost.h"

namespace support
{

class AccountTest : public DriverTest
{
protected:
    /// A ready account of a location, whose bridge bears the name "Lake House" already.
    CVestaraInterface& Serve(const char* LocationID)
    {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).LocationID() = LocationID;
        Account.UpdateInterfaceName(&Account, Account.LocationName());
        Probe(Account).NotifyConfig() = 0;
        m_Journal.Take();
        return Account;
    }
    /// Puts candidates into the list as a reply would; the name of "a" is "House a".
    static void Offer(CVestaraInterface& Account, const Lines& IDs)
    {
        for (const std::string& ID : IDs)
            Probe(Account).Locations().AddTail(new CLocationPair(ID.c_str(), ("House " + ID).c_str()));
    }
    /// A reply that waits; its command has no processing, which is reported.
    static void AddWaitingReply(CVestaraInterface& Account)
    {
        auto pCommand =
            std::make_unique<CVestaraCommand>(METHOD_DELETE, CMD_ACCESS_PERSON_DELETE, "", "", "", "");
        pCommand->Response(ParseJson("{}").release());
        Account.AddResponse(std::move(pCommand));
    }
    /// A message's items, each followed by a bar, texts in quotes.
    static std::string Shown(const CQXMSG& Message)
    {
        std::string Text;
        for (const CQXMSG::Item& Item : Message.Items()) {
            if (const int* pNumber = std::get_if<int>(&Item))
                Text.append(std::to_string(*pNumber)).append("|");
            else
                Text.append("'").append(std::get<CQXString>(Item)).append("'|");
        }
        return Text;
    }
    static std::string Str(const CQXString& Text) { return std::string(Text); }
};

} // namespace support
