// Device lists: what is installed, skipped and routed to which account; single devices: what a lock is told.

#include "support/TestHost.h"

#include <gmock/gmock.h>

namespace
{

using support::Lines;
using support::WithTracing;
using testing::ElementsAre;
using testing::ElementsAreArray;
using support::operator+;

const std::string kNotFound = "trace: DoorLock not found in system - try re-discovering";

Lines Missing(const std::string& Key)
{
    return {"report vestarai 3023: \"" + Key + "\" not identified"};
}

class DeviceReplies : public support::DriverTest
{
protected:
    DeviceReplies() : m_Account(Serve("loc-1")), m_Sibling(Serve("loc-2"))
    {
        AddLock(m_Account, "dev-1", "Door");
        AddLock(m_Sibling, "dev-2", "Gate");
    }

    // An account whose bridge bears its location's name already.
    CVestaraInterface& Serve(const char* LocationID)
    {
        CVestaraInterface& Account = AddReadyAccount();
        Probe(Account).LocationID() = LocationID;
        Account.UpdateInterfaceName(&Account, Account.LocationName());
        Probe(Account).NotifyConfig() = 0;
        m_Journal.Take();
        return Account;
    }

    CVestaraInterface& m_Account;
    CVestaraInterface& m_Sibling;
};

TEST_F(DeviceReplies, EachEntryIsRoutedOrSkippedOnItsOwn)
{
    struct {
        const char* Entry; // of a list that goes on with the sibling's lock
        Lines Effects;
        int Routed; // to this account
        int RoutedToSibling;
        // clang-format off
    } const Rows[] = {
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"loc-1"})",
         {"~trace: Processing [Door:dev-1] ...", "SetMainLoopTrigger"}, 1, 1},
        {R"({"location_id":"loc-1","x":[{"name":"%s%n","id":"dev-1"}],"type":"lock"})",
         {"~trace: Processing [%s%n:dev-1] ...", "SetMainLoopTrigger"}, 1, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"loc-2"})",
         {"~trace: Processing [Door:dev-1] ...", "SetMainLoopTrigger"}, 0, 2},
        {R"({"type":"Lock","id":"dev-1","name":"Door","location_id":"loc-1"})",
         {"report vestarai 1242: Unsupported Device type: [Lock]"}, 0, 1},
        {"7", {Missing("type")[0], "report vestarai 1242: Unsupported Device type: []"}, 0, 1},
        {R"({"type":"lock","name":"Door","location_id":"loc-1"})", {Missing("id")[0],
         "report vestarai 1249: Could not parse DeviceID and/or DeviceName"}, 0, 1},
        {R"({"type":"lock","id":"dev-1","location_id":"loc-1"})", {Missing("name")[0],
         "report vestarai 1249: Could not parse DeviceID and/or DeviceName"}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door"})", {Missing("location_id")[0],
         "report vestarai 1255: Could not parse Device's Location ID"}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"nowhere"})",
         {"~trace: Processing [Door:dev-1] ...",
         "report vestarai 1294: VestaraInterface device NULL - aborting ProcessResponse"}, 0, 1},
        {R"({"type":"lock","id":"dev-9","name":"New","location_id":"%d"})",
         {"~trace: Processing [New:dev-9] ...",
         "report vestarai 1271: Could not find interface with ID: [%d]", kNotFound}, 0, 1},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        for (const CommandID Command : {CMD_DEVICES_STATUS, CMD_DEVICES_DISCOVER}) {
            const bool bTracing = Command == CMD_DEVICES_STATUS;
            SCOPED_TRACE(std::string(Row.Entry) + (bTracing ? ", traced poll" : ", discovery"));
            m_Account.TraceEnabled(bTracing);
            const Lines Expected = Lines{"~trace: ProcessingResponse [4]"} + Row.Effects +
                                   Lines{"~trace: Processing [Gate:dev-2] ...", "SetMainLoopTrigger"};

            EXPECT_EQ(Process(m_Account, Command,
                              std::string(R"({"data":[)") + Row.Entry +
                                  R"(,{"type":"lock","id":"dev-2","name":"Gate","location_id":"loc-2"}]})"),
                      1);
            EXPECT_THAT(TakeEffects(), ElementsAreArray(WithTracing(bTracing, Expected)));
            EXPECT_EQ(m_Account.NResponses(), Row.Routed);
            EXPECT_EQ(m_Sibling.NResponses(), Row.RoutedToSibling);
            EXPECT_EQ(m_Account.NClients() + m_Sibling.NClients(), 2);
            m_Account.RemoveAllObjects();
            m_Sibling.RemoveAllObjects();
        }
    }
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_STATUS, R"({"devices":[]})"), 0);
    EXPECT_THAT(TakeEffects(),
                ElementsAre("report vestarai 1231: 'data' node not found - aborting ProcessResponse"));
}

TEST_F(DeviceReplies, DiscoveryAloneInstallsAndUnderTheOwner)
{
    const std::string List =
        R"({"data":[{"type":"lock","id":"dev-3","name":"Shed","location_id":"loc-2","state":"locked"}]})";
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_STATUS, List), 1);
    EXPECT_THAT(TakeEffects(), ElementsAre(kNotFound));
    EXPECT_EQ(m_Sibling.NClients(), 1);

    EXPECT_EQ(Process(m_Account, CMD_DEVICES_DISCOVER, List), 1);
    EXPECT_THAT(TakeEffects(), ElementsAre("NotifyWrite", "SetMainLoopTrigger"));
    EXPECT_EQ(m_Account.NClients(), 1);
    ASSERT_EQ(m_Sibling.NClients(), 2);
    EXPECT_EQ(m_Account.FindDoorLock("dev-3")->Interface(), &m_Sibling);
    EXPECT_EQ(Probe(m_Sibling).NotifyConfig(), 1);
    EXPECT_EQ(Probe(m_Account).NotifyConfig(), 0);

    auto pRouted = m_Sibling.NextResponse();
    ASSERT_TRUE(pRouted);
    EXPECT_EQ(pRouted->Method(), METHOD_READ);
    EXPECT_EQ(pRouted->GetCommandID(), CMD_DEVICE_GET);
    EXPECT_EQ(std::string(pRouted->LocationID()) + "|" + std::string(pRouted->DeviceID()) + "|" +
                  std::string(pRouted->UserID()) + "|" + std::string(pRouted->AccessID()),
              "loc-2|dev-3||");
    CQXString sState; // the list is gone, its entry is not
    EXPECT_EQ(pRouted->Response()->FindString("state", &sState, 1), 1);
    EXPECT_EQ(std::string(sState), "locked");
}

TEST_F(DeviceReplies, FailedInstallationSkipsTheEntry)
{
    struct Homeless : support::JournalledSystem {
        using JournalledSystem::JournalledSystem;
        CSystemFamily* FamilyByFamily(int) override { return nullptr; }
    } Homeless(*m_pSystem, m_Journal);
    devhost::TheFramework().pSystem = &Homeless;
    const std::string NoFamily = "report vestarai 2702: Failed to locate Family";
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_DISCOVER,
                      R"({"data":[{"type":"lock","id":"dev-3","name":"%s","location_id":"loc-2"}]})"),
              1);
    EXPECT_THAT(TakeEffects(), ElementsAre(NoFamily, NoFamily,
                                           "report vestarai 1278: Failed to Install [%s:dev-3]", kNotFound));
    devhost::TheFramework().pSystem = m_pJournalled.get();
}

TEST_F(DeviceReplies, RoutingRenamesTheOwner)
{
    m_Sibling.NetworkBridge()->Name("old");
    const std::string List = R"({"data":[{"type":"lock","id":"dev-2","name":"Gate","location_id":"loc-2"}]})";
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_STATUS, List), 1);
    EXPECT_THAT(TakeEffects(), ElementsAre("NotifyWrite", "SetMainLoopTrigger"));
    EXPECT_EQ(std::string(m_Sibling.NetworkBridge()->Name()), "Vestara Interface (Lake House)");
    EXPECT_EQ(Probe(m_Account).NotifyConfig(), 1); // the one that renames tells the host
    EXPECT_EQ(Probe(m_Sibling).NotifyConfig(), 0);
}

TEST_F(DeviceReplies, LockIsToldOfEachAttributeInOrderAlsoOfMissingOnes)
{
    Lines Expected = Missing("name");
    for (const char* pKey : {"state", "power_level", "wifi_level", "programming_code", "serial_number",
                             "heartbeat_interval", "connected_at", "updated_at", "alive"}) {
        Expected.push_back(Missing(pKey)[0]);
        Expected.push_back("report portivo 318: DataString empty - aborting ProcessCommand");
    }
    for (const CommandID Command : {CMD_DEVICE_GET, CMD_DEVICE_LOCK, CMD_DEVICE_UNLOCK}) {
        EXPECT_EQ(Process(m_Account, Command, R"({"id":"dev-1"})"), 1);
        EXPECT_THAT(TakeEffects(), ElementsAreArray(Expected));

        EXPECT_EQ(Process(m_Account, Command, R"({"id":"DEV-1","name":"x","alive":"false"})"), 0);
        EXPECT_THAT(TakeEffects(),
                    ElementsAre("report vestarai 1312: DoorLock device NULL - aborting ProcessResponse"));
    }
    const CPortivo& Lock = *m_Account.FindDoorLock("dev-1");
    EXPECT_EQ(std::string(Lock.Name()), "Door");
    EXPECT_EQ(Lock.Online(), 1);
}

TEST_F(DeviceReplies, IntervalComesBeforeItsTimeAndAliveLast)
{
    // Ten seconds after the heartbeat; in any other order the lock would report a late one, or be offline.
    EXPECT_EQ(Process(m_Account, CMD_DEVICE_GET,
                      R"({"alive":false,"connected_at":"2023-11-14T22:13:10Z","heartbeat_interval":3600,
                          "updated_at":"","state":"locked","power_level":55,"wifi_level":"70","id":"dev-1",
                          "programming_code":"9","serial_number":"S \n","name":"%s \n"})"),
              1);
    EXPECT_THAT(TakeEffects(),
                testing::Contains("report portivo 318: DataString empty - aborting ProcessCommand").Times(1));
    CPortivo& Lock = *m_Account.FindDoorLock("dev-1");
    EXPECT_EQ(std::string(Lock.Name()), "%s ");
    EXPECT_EQ(std::string(Lock.TraceName()), "Portivo (%s )");
    EXPECT_EQ(Lock.BatteryLevel(), 55);
    EXPECT_EQ(std::string(CPortivoProbe::SerialNumber(Lock)), "S ");
    EXPECT_EQ(CPortivoProbe::HeartbeatInterval(Lock), 3'600'000u);
    EXPECT_EQ(Lock.Online(), 0);
}

} // namespace
