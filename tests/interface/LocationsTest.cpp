// Choosing a location, discovery, and the list of candidates.

#include "tests/support/AccountTest.h"

#include <climits>

namespace support
{

using LocationsTest = AccountTest;

TEST_F(LocationsTest, NewChoiceDropsWhatBelongsToTheOldOne)
{
    CVestaraInterface& account = AddReadyAccount();
    AddLock(account, "dev-1", "Front");
    Offer(account, {"a", "b"});
    account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "loc-1", "", "", "");
    account.TraceEnabled(1);
    account.SetLocationIdx(1);
    EXPECT_EQ(
        TakeEffects(),
        (Lines{"trace: Incoming location selection: [1]", "trace: New location selected: [House b][2]",
               "OnSystemExit1 vestarai 2849 0", "trace: Deleting DoorLock: [Front][dev-1]", "OnSystemInit",
               "OnPostSystemInit", "trace: [1] commands queued [S:1][R:0]", "trace: RunIdle delay [1500]",
               "trace: [2] commands queued [S:2][R:0]", "trace: RunIdle delay [333]", "NotifyWrite"}));
    EXPECT_EQ(Queued(account), (Lines{"2 5 b|||", "2 2 |||"}));
    EXPECT_EQ(Str(account.LocationID()) + Str(account.LocationName()), "bHouse b");
    EXPECT_EQ(Candidates(account), Lines{});
}

TEST_F(LocationsTest, OtherIndexesChooseNothing)
{
    CVestaraInterface& account = AddReadyAccount();
    Probe(account).LocationID() = "a";
    Offer(account, {"a", "b"});
    const std::string incoming = "~trace: Incoming location selection: ";
    const std::string outside = "~trace: iVal out of bounds: ";
    for (const auto& [index, effects] : {std::pair{0, Lines{incoming + "[0]"}}, // served already
                                         {2, {incoming + "[2]", outside + "[3/2]"}},
                                         {INT_MAX, {incoming + "[2147483647]", outside + "[2147483648/2]"}},
                                         {-1, {incoming + "[-1]"}}}) {
        for (const bool tracing : {false, true}) {
            account.TraceEnabled(tracing);
            DropQueued(account);
            account.SetLocationIdx(index);
            EXPECT_EQ(TakeEffectsButPace(), WithTracing(tracing, effects));
            EXPECT_EQ(Queued(account), index < 0 ? Lines{"2 2 |||"} : Lines{});
        }
    }
    EXPECT_EQ(Str(account.LocationID()), "a");
    EXPECT_EQ(Candidates(account), (Lines{"a", "b"}));
    DropQueued(account);
    account.RemoveAllLocations();
    account.SetLocationIdx(-1);
    EXPECT_EQ(Queued(account), Lines{}) << "without candidates nothing is asked for";
}

TEST_F(LocationsTest, DiscoveryStartsFromScratch)
{
    for (const char* location : {"", "loc-1"}) {
        CVestaraInterface& account = AddReadyAccount();
        Probe(account).LocationID() = location;
        Offer(account, {"a"});
        account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "x", "", "", "");
        account.Discover();
        EXPECT_EQ(TakeEffects(), Lines{"trace: Discovering..."});
        EXPECT_EQ(Queued(account), (Lines{*location ? "2 5 loc-1|||" : "2 2 |||", "2 7 |||"}));
        EXPECT_EQ(Candidates(account), Lines{});
    }
}

TEST_F(LocationsTest, RemovalOfALocationRotatesTheRest)
{
    for (const auto& [before, after] :
         {std::pair{Lines{"b", "a", "c"}, Lines{"c", "b"}}, {Lines{"b", "c"}, Lines{"b", "c"}}}) {
        CVestaraInterface& account = AddAccount();
        Probe(account).NotifyConfig() = 0;
        Offer(account, before);
        account.RemoveThisLocation("a");
        EXPECT_EQ(Candidates(account), after);
        EXPECT_EQ(Probe(account).NotifyConfig(), before.size() != after.size());
    }
}

} // namespace support
