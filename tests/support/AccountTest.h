#pragma once
// What the tests of the account interface and of the lock share.

#include "devhost/framework/record/MemoryFile.h"
#include "tests/support/RecordingLock.h"
#include "tests/support/TestHost.h"

#include <limits>

namespace support
{

/// A record in memory whose stream breaks after a given number of items.
class FailingFile : public devhost::MemoryFile
{
public:
    int left = std::numeric_limits<int>::max(); ///< calls that still succeed

    int WriteInt(int i) override { return left-- > 0 ? MemoryFile::WriteInt(i) : 0; }
    int WriteString(const CQXString& s) override { return left-- > 0 ? MemoryFile::WriteString(s) : 0; }
    int ReadInt(int* p) override { return left-- > 0 ? MemoryFile::ReadInt(p) : 0; }
    int ReadString(CQXString* p) override { return left-- > 0 ? MemoryFile::ReadString(p) : 0; }
};

class AccountTest : public DriverTest
{
protected:
    /// A ready account of a location, whose bridge bears the name "Lake House" already.
    CVestaraInterface& Serve(const char* locationId)
    {
        CVestaraInterface& account = AddReadyAccount();
        Probe(account).LocationID() = locationId;
        account.UpdateInterfaceName(&account, account.LocationName());
        Probe(account).NotifyConfig() = 0;
        m_journal.Take();
        return account;
    }
    /// Puts candidates into the list as a reply would; the name of "a" is "House a".
    static void Offer(CVestaraInterface& account, const Lines& ids)
    {
        for (const std::string& id : ids)
            Probe(account).Locations().AddTail(new CLocationPair(id.c_str(), ("House " + id).c_str()));
    }
    /// A reply that waits; its command has no processing, which is reported.
    static void AddWaitingReply(CVestaraInterface& account)
    {
        auto command =
            std::make_unique<CVestaraCommand>(METHOD_DELETE, CMD_ACCESS_PERSON_DELETE, "", "", "", "");
        command->Response(ParseJson("{}").release());
        account.AddResponse(std::move(command));
    }
    /// A message's items, each followed by a bar, texts in quotes.
    static std::string Shown(const CQXMSG& message)
    {
        std::string text;
        for (const CQXMSG::Item& item : message.Items()) {
            if (const int* number = std::get_if<int>(&item))
                text.append(std::to_string(*number)).append("|");
            else
                text.append("'").append(std::get<CQXString>(item)).append("'|");
        }
        return text;
    }
    static std::string Str(const CQXString& text) { return std::string(text); }
};

} // namespace support
