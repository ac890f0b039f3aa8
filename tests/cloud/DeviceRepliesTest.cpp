// Device lists: what is installed, skipped and routed to which account; single devices: what a lock is told.

#include "cloud/CloudTest.h"

namespace support
{

const std::string kNotFound = "trace: DoorLock not found in system - try re-discovering";

class DeviceReplies : public CloudTest
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
    const std::string NoNames = "report vestarai 1249: Could not parse DeviceID and/or DeviceName";
    struct {
        const char* Entry; // of a list that goes on with the sibling's lock
        Lines Effects;
        int Routed, ToSibling;
        // clang-format off
    } const Rows[] = {
        {R"({"location_id":"loc-1","x":[{"name":"%s%n","id":"dev-1"}],"type":"lock"})",
         {"~trace: Processing [%s%n:dev-1] ...", "SetMainLoopTrigger", "~trace: Processing [Gate:dev-2] ..."},
         1, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"loc-2"})", {"SetMainLoopTrigger"}, 0, 2},
        {"7", {Missing("type"), "report vestarai 1242: Unsupported Device type: []"}, 0, 1},
        {R"({"type":"lock","name":"Door","location_id":"loc-1"})", {Missing("id"), NoNames}, 0, 1},
        {R"({"type":"lock","id":"dev-1","location_id":"loc-1"})", {Missing("name"), NoNames}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door"})",
         {Missing("location_id"), "report vestarai 1255: Could not parse Device's Location ID"}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"nowhere"})",
         {"report vestarai 1294: VestaraInterface device NULL - aborting ProcessResponse"}, 0, 1},
        {R"({"type":"lock","id":"dev-9","name":"New","location_id":"%d"})",
         {"report vestarai 1271: Could not find interface with ID: [%d]", kNotFound}, 0, 1},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Entry);
        const std::string Json = std::string(R"({"data":[)") + Row.Entry +
                                 R"(,{"type":"lock","id":"dev-2","name":"Gate","location_id":"loc-2"}]})";
        Expect(m_Account, CMD_DEVICES_DISCOVER, Json, 1, Row.Effects + Lines{"SetMainLoopTrigger"});
        EXPECT_EQ(m_Account.NResponses(), Row.Routed);
        EXPECT_EQ(m_Sibling.NResponses(), Row.ToSibling);
        m_Account.RemoveAllObjects();
        m_Sibling.RemoveAllObjects();
    }
    Expect(m_Account, CMD_DEVICES_STATUS, R"({"devices":[]})", 0,
           {"report vestarai 1231: 'data' node not found - aborting ProcessResponse"});
}

TEST_F(DeviceReplies, DiscoveryAloneInstallsAndUnderTheOwnerWhichIsRenamed)
{
    const std::string List =
        R"({"data":[{"type":"lock","id":"dev-3","name":"%s","location_id":"loc-2","state":"locked"}]})";
    Expect(m_Account, CMD_DEVICES_STATUS, List, 1, {kNotFound});

    m_pSystem->Family = [](int) { return nullptr; };
    const std::string NoFamily = "report vestarai 2702: Failed to locate Family";
    Expect(m_Account, CMD_DEVICES_DISCOVER, List, 1,
           {NoFamily, NoFamily, "report vestarai 1278: Failed to Install [%s:dev-3]", kNotFound});
    m_pSystem->Family = nullptr;

    m_Sibling.NetworkBridge()->Name("old");
    Expect(m_Account, CMD_DEVICES_DISCOVER, List, 1, {"NotifyWrite", "NotifyWrite", "SetMainLoopTrigger"});
    EXPECT_EQ(Str(m_Sibling.NetworkBridge()->Name()), "Vestara Interface (Lake House)");
    CPortivo& Lock = *m_Account.FindDoorLock("dev-3");
    EXPECT_EQ(Lock.Interface(), &m_Sibling);
    m_Sibling.ProcessResponse(m_Sibling.NextResponse()); // the list is gone, its entry is not
    EXPECT_EQ(Lock.State(), CDoorLock::STATE_SECURED);
    m_Journal.Take();
}

TEST_F(DeviceReplies, LockIsToldOfEachAttributeInOrderAlsoOfMissingOnes)
{
    Lines Effects = {Missing("name")};
    for (const char* pKey : {"state", "power_level", "wifi_level", "programming_code", "serial_number",
                             "heartbeat_interval", "connected_at", "updated_at", "alive"})
        Effects =
            Effects + Lines{Missing(pKey), "report portivo 318: DataString empty - aborting ProcessCommand"};
    for (const CommandID Command : {CMD_DEVICE_GET, CMD_DEVICE_LOCK, CMD_DEVICE_UNLOCK}) {
        Expect(m_Account, Command, R"({"id":"dev-1"})", 1, Effects);
        Expect(m_Account, Command, R"({"id":"DEV-1","name":"x","alive":"false"})", 0,
               {"report vestarai 1312: DoorLock device NULL - aborting ProcessResponse"});
    }
    CPortivo& Lock = *m_Account.FindDoorLock("dev-1");
    EXPECT_EQ(Lock.Online(), 1);
    Process(m_Account, CMD_DEVICE_GET,
            R"({"alive":false,"connected_at":"2023-11-14T22:13:10Z","heartbeat_interval":3600,
                "updated_at":"x","state":"locked","power_level":55,"wifi_level":"70","id":"dev-1",
                "programming_code":"9","serial_number":"S \n","name":"%s \n"})");
    EXPECT_EQ(m_Journal.TakeReports(), Lines{});
    EXPECT_EQ(Str(Lock.Name()) + Str(Lock.TraceName()), "%s Portivo (%s )");
    EXPECT_EQ(Lock.Online(), 0);
}

} // namespace support
