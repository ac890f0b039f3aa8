// Choosing a location, discovery, and the list of candidates.

#include "support/AccountTest.h"

#include <climits>

namespace support
{

using LocationsTest = AccountTest;

TEST_F(LocationsTest, NewChoiceDropsWhatBelongsToTheOldOne)
{
    CVestaraInterface& Account = AddReadyAccount();
    AddLock(Account, "dev-1", "Front");
    Offer(Account, {"a", "b"});
    Account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "loc-1", "", "", "");
    Account.TraceEnabled(1);
    Account.SetLocationIdx(1);
    EXPECT_EQ(
        TakeEffects(),
        (Lines{"trace: Incoming location selection: [1]", "trace: New location selected: [House b][2]",
               "OnSystemExit1 vestarai 2849 0", "trace: Deleting DoorLock: [Front][dev-1]", "OnSystemInit",
               "OnPostSystemInit", "trace: [1] commands queued [S:1][R:0]", "trace: RunIdle delay [1500]",
               "trace: [2] commands queued [S:2][R:0]", "trace: RunIdle delay [333]", "NotifyWrite"}));
    EXPECT_EQ(Queued(Account), (Lines{"2 5 b|||", "2 2 |||"}));
    EXPECT_EQ(Str(Account.LocationID()) + Str(Account.LocationName()), "bHouse b");
    EXPECT_EQ(Candidates(Account), Lines{});
}

TEST_F(LocationsTest, OtherIndexesChooseNothing)
{
    CVestaraInterface& Account = AddReadyAccount();
    Probe(Account).LocationID() = "a";
    Offer(Account, {"a", "b"});
    Account.TraceEnabled(1);
    const std::string Incoming = "trace: Incoming location selection: ";
    const std::string Outside = "trace: iVal out of bounds: ";
    for (const auto& [Index, Effects] : {std::pair{0, Lines{Incoming + "[0]"}}, // served already
                                         {2, {Incoming + "[2]", Outside + "[3/2]"}},
                                         {INT_MAX, {Incoming + "[2147483647]", Outside + "[2147483648/2]"}},
                                         {-1, {Incoming + "[-1]"}}}) {
        Account.SetLocationIdx(Index);
        EXPECT_EQ(TakeEffectsButPace(), Effects);
        EXPECT_EQ(Queued(Account), Index < 0 ? Lines{"2 2 |||"} : Lines{});
    }
    EXPECT_EQ(Str(Account.LocationID()), "a");
    EXPECT_EQ(Candidates(Account), (Lines{"a", "b"}));
}

TEST_F(LocationsTest, DiscoveryStartsFromScratch)
{
    for (const char* pLocation : {"", "loc-1"}) {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).LocationID() = pLocation;
        Offer(Account, {"a"});
        Account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "x", "", "", "");
        Account.Discover();
        EXPECT_EQ(TakeEffects(), Lines{"trace: Discovering..."});
        EXPECT_EQ(Queued(Account), (Lines{*pLocation ? "2 5 loc-1|||" : "2 2 |||", "2 7 |||"}));
        EXPECT_EQ(Candidates(Account), Lines{});
    }
}

TEST_F(LocationsTest, RemovalOfALocationRotatesTheRest)
{
    for (const auto& [Before, After] :
         {std::pair{Lines{"b", "a", "c"}, Lines{"c", "b"}}, {Lines{"b", "c"}, Lines{"b", "c"}}}) {
        CVestaraInterface& Account = AddAccount();
        Probe(Account).NotifyConfig() = 0;
        Offer(Account, Before);
        Account.RemoveThisLocation("a");
        EXPECT_EQ(Candidates(Account), After);
        EXPECT_EQ(Probe(Account).NotifyConfig(), Before.size() != After.size());
    }
}

} // namespace support
