// Device lists: what is installed, skipped and routed to which account; single devices: what a lock is told.

#include "support/AccountTest.h"

namespace support
{

const std::string kNotFound = "trace: DoorLock not found in system - try re-discovering";

static std::string Missing(const std::string& Key)
{
    return "report vestarai 3023: \"" + Key + "\" not identified";
}

class DeviceReplies : public AccountTest
{
protected:
    DeviceReplies() : m_Account(Serve("loc-1")), m_Sibling(Serve("loc-2"))
    {
        AddLock(m_Account, "dev-1", "Door");
        AddLock(m_Sibling, "dev-2", "Gate");
    }

    CVestaraInterface& m_Account;
    CVestaraInterface& m_Sibling;
};

TEST_F(DeviceReplies, EachEntryIsRoutedOrSkippedOnItsOwn)
{
    const std::string Processing = "~trace: Processing [Door:dev-1] ...";
    const std::string NoNames = "report vestarai 1249: Could not parse DeviceID and/or DeviceName";
    struct {
        const char* Entry; // of a list that goes on with the sibling's lock
        Lines Effects;
        int Routed, ToSibling;
        // clang-format off
    } const Rows[] = {
        {R"({"location_id":"loc-1","x":[{"name":"%s%n","id":"dev-1"}],"type":"lock"})",
         {"~trace: Processing [%s%n:dev-1] ...", "SetMainLoopTrigger"}, 1, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"loc-2"})",
         {Processing, "SetMainLoopTrigger"}, 0, 2},
        {R"({"type":"Lock","id":"dev-1","name":"Door","location_id":"loc-1"})",
         {"report vestarai 1242: Unsupported Device type: [Lock]"}, 0, 1},
        {"7", {Missing("type"), "report vestarai 1242: Unsupported Device type: []"}, 0, 1},
        {R"({"type":"lock","name":"Door","location_id":"loc-1"})", {Missing("id"), NoNames}, 0, 1},
        {R"({"type":"lock","id":"dev-1","location_id":"loc-1"})", {Missing("name"), NoNames}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door"})",
         {Missing("location_id"), "report vestarai 1255: Could not parse Device's Location ID"}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"nowhere"})",
         {Processing, "report vestarai 1294: VestaraInterface device NULL - aborting ProcessResponse"}, 0, 1},
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
            const std::string Json = std::string(R"({"data":[)") + Row.Entry +
                                     R"(,{"type":"lock","id":"dev-2","name":"Gate","location_id":"loc-2"}]})";
            EXPECT_EQ(Process(m_Account, Command, Json), 1);
            EXPECT_EQ(TakeEffects(), WithTracing(bTracing, Expected));
            EXPECT_EQ(m_Account.NResponses(), Row.Routed);
            EXPECT_EQ(m_Sibling.NResponses(), Row.ToSibling);
            EXPECT_EQ(m_Account.NClients() + m_Sibling.NClients(), 2);
            m_Account.RemoveAllObjects();
            m_Sibling.RemoveAllObjects();
        }
    }
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_STATUS, R"({"devices":[]})"), 0);
    EXPECT_EQ(TakeEffects(), Lines{"report vestarai 1231: 'data' node not found - aborting ProcessResponse"});
}

TEST_F(DeviceReplies, DiscoveryAloneInstallsAndUnderTheOwnerWhichIsRenamed)
{
    const std::string List =
        R"({"data":[{"type":"lock","id":"dev-3","name":"%s","location_id":"loc-2","state":"locked"}]})";
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_STATUS, List), 1);
    EXPECT_EQ(TakeEffects(), Lines{kNotFound});

    m_pJournalled->Family = [](int) { return nullptr; };
    const std::string NoFamily = "report vestarai 2702: Failed to locate Family";
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_DISCOVER, List), 1);
    EXPECT_EQ(TakeEffects(),
              (Lines{NoFamily, NoFamily, "report vestarai 1278: Failed to Install [%s:dev-3]", kNotFound}));
    m_pJournalled->Family = nullptr;

    m_Sibling.NetworkBridge()->Name("old");
    EXPECT_EQ(Process(m_Account, CMD_DEVICES_DISCOVER, List), 1);
    EXPECT_EQ(TakeEffects(), (Lines{"NotifyWrite", "NotifyWrite", "SetMainLoopTrigger"}));
    EXPECT_EQ(Str(m_Sibling.NetworkBridge()->Name()), "Vestara Interface (Lake House)");
    EXPECT_EQ(m_Account.NClients() * 10 + m_Sibling.NClients(), 12);
    EXPECT_EQ(m_Account.FindDoorLock("dev-3")->Interface(), &m_Sibling);
    EXPECT_EQ(Probe(m_Sibling).NotifyConfig(), 1); // for the lock
    EXPECT_EQ(Probe(m_Account).NotifyConfig(), 1); // for the name

    auto pRouted = m_Sibling.NextResponse();
    ASSERT_TRUE(pRouted);
    EXPECT_EQ(pRouted->GetCommandID(), CMD_DEVICE_GET);
    EXPECT_EQ(Str(pRouted->LocationID()) + "|" + Str(pRouted->DeviceID()), "loc-2|dev-3");
    CQXString sState; // the list is gone, its entry is not
    EXPECT_EQ(pRouted->Response()->FindString("state", &sState, 1), 1);
    EXPECT_EQ(Str(sState), "locked");
}

TEST_F(DeviceReplies, LockIsToldOfEachAttributeInOrderAlsoOfMissingOnes)
{
    Lines Expected = {Missing("name")};
    for (const char* pKey : {"state", "power_level", "wifi_level", "programming_code", "serial_number",
                             "heartbeat_interval", "connected_at", "updated_at", "alive"})
        Expected =
            Expected + Lines{Missing(pKey), "report portivo 318: DataString empty - aborting ProcessCommand"};
    for (const CommandID Command : {CMD_DEVICE_GET, CMD_DEVICE_LOCK, CMD_DEVICE_UNLOCK}) {
        EXPECT_EQ(Process(m_Account, Command, R"({"id":"dev-1"})"), 1);
        EXPECT_EQ(TakeEffects(), Expected);
        EXPECT_EQ(Process(m_Account, Command, R"({"id":"DEV-1","name":"x","alive":"false"})"), 0);
        EXPECT_EQ(TakeEffects(),
                  Lines{"report vestarai 1312: DoorLock device NULL - aborting ProcessResponse"});
    }
    CPortivo& Lock = *m_Account.FindDoorLock("dev-1");
    EXPECT_EQ(Str(Lock.Name()), "Door");
    EXPECT_EQ(Lock.Online(), 1);

    // Ten seconds after the heartbeat; in any other order the lock would report a late one, or be offline.
    EXPECT_EQ(Process(m_Account, CMD_DEVICE_GET,
                      R"({"alive":false,"connected_at":"2023-11-14T22:13:10Z","heartbeat_interval":3600,
                          "updated_at":"x","state":"locked","power_level":55,"wifi_level":"70","id":"dev-1",
                          "programming_code":"9","serial_number":"S \n","name":"%s \n"})"),
              1);
    EXPECT_EQ(m_Journal.TakeReports(), Lines{});
    EXPECT_EQ(Str(Lock.Name()) + Str(Lock.TraceName()), "%s Portivo (%s )");
    EXPECT_EQ(Lock.BatteryLevel(), 55);
    EXPECT_EQ(Str(CPortivoProbe::SerialNumber(Lock)), "S ");
    EXPECT_EQ(CPortivoProbe::HeartbeatInterval(Lock), 3'600'000u);
    EXPECT_EQ(Lock.Online(), 0);
}

} // namespace support
