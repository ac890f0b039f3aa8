// Choosing a location, discovery, and the list of candidates.

#include "support/AccountTest.h"

#include <climits>

namespace support
{

using LocationsTest = AccountTest;

TEST_F(LocationsTest, ChoiceByIndex)
{
    const Lines AB{"a", "b"};
    struct Row {
        Lines Candidates;
        int Index;
        const char* pSelected;
        Lines Queue, After;
        const char* pTrace; // after the first line
    };
    for (const Row& R : {Row{AB, 1, "b", {"2 5 b|||", "2 2 |||"}, {}, "New location selected: [House b][2]"},
                         Row{AB, 0, "a", {"2 4 a|||"}, AB, nullptr}, // the one that is served already
                         Row{AB, 2, "a", {"2 4 a|||"}, AB, "iVal out of bounds: [3/2]"},
                         Row{AB, INT_MAX, "a", {"2 4 a|||"}, AB, "iVal out of bounds: [2147483648/2]"},
                         Row{AB, -1, "a", {"2 4 a|||", "2 2 |||"}, AB, nullptr},
                         Row{{}, 0, "a", {"2 4 a|||"}, {}, "iVal out of bounds: [1/0]"},
                         Row{{}, -1, "a", {"2 4 a|||"}, {}, nullptr}}) {
        SCOPED_TRACE(testing::Message() << R.Index << " of " << R.Candidates.size());
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).LocationID() = "a";
        AddLock(Account, "dev-1", "Front");
        Offer(Account, R.Candidates);
        Account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "a", "", "", "");
        Account.TraceEnabled(1);
        Account.SetLocationIdx(R.Index);
        Account.TraceEnabled(0);
        const bool bChanged = R.Queue.size() == 2 && R.Index == 1;
        const Lines Seen = TakeEffects();
        EXPECT_EQ(Seen.at(0), "trace: Incoming location selection: [" + std::to_string(R.Index) + "]");
        if (R.pTrace) {
            EXPECT_EQ(Seen.at(1), std::string("trace: ") + R.pTrace);
        }
        EXPECT_EQ(Seen.back() == "NotifyWrite", bChanged) << "saved last";
        if (bChanged) {
            EXPECT_EQ(Seen.at(2), "OnSystemExit1 vestarai 2849 0") << "locks go before the discovery";
        }
        EXPECT_EQ(Account.NClients(), bChanged ? 0 : 1);
        EXPECT_EQ(Str(Account.LocationID()), R.pSelected);
        EXPECT_EQ(Queued(Account), R.Queue);
        EXPECT_EQ(Candidates(Account), R.After);
        Account.RemoveAllDevices(0);
        DropQueued(Account);
        m_Journal.Take();
    }
}

TEST_F(LocationsTest, DiscoveryStartsFromScratch)
{
    for (const char* pLocation : {"", "loc-1"}) {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).LocationID() = pLocation;
        Probe(Account).LocationsRequested() = 1;
        Offer(Account, {"a"});
        Account.GenObfuscationList();
        AddWaitingReply(Account);
        Account.AddCommand(METHOD_READ, CMD_DEVICES_STATUS, "x", "", "", "");
        m_Journal.Take();
        Account.Discover();
        EXPECT_EQ(TakeEffects(), Lines{"trace: Discovering..."});
        EXPECT_EQ(Queued(Account), (Lines{*pLocation ? "2 5 loc-1|||" : "2 2 |||", "2 7 |||"}));
        EXPECT_EQ(Account.NResponses() + Probe(Account).ObfuscationList().GetCount(), 0);
        EXPECT_EQ(Candidates(Account), Lines{});
        EXPECT_EQ(Probe(Account).LocationsRequested(), 0);
        DropQueued(Account);
    }
}

TEST_F(LocationsTest, RemovalOfALocationRotatesTheRest)
{
    CVestaraInterface& Account = AddAccount();
    for (const auto& [Before, After] : {std::pair{Lines{"b", "a", "c"}, Lines{"c", "b"}},
                                        {Lines{"a", "b", "c"}, Lines{"c", "b"}},
                                        {Lines{"a", "a", "a"}, Lines{"a"}},
                                        {Lines{"b", "c"}, Lines{"b", "c"}}}) {
        Probe(Account).NotifyConfig() = 0;
        Offer(Account, Before);
        Account.RemoveThisLocation("a");
        EXPECT_EQ(Candidates(Account), After);
        EXPECT_EQ(Probe(Account).NotifyConfig(), Before.size() != After.size());
        Account.RemoveAllLocations();
    }
}

} // namespace support
