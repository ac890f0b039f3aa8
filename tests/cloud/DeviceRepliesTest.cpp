// Device lists: what is installed, skipped and routed to which account; single devices: what a lock is told.

#include "tests/cloud/CloudTest.h"

namespace support
{

const std::string kNotFound = "trace: DoorLock not found in system - try re-discovering";

class DeviceRepliesTest : public CloudTest
{
protected:
    DeviceRepliesTest() : m_account(Serve("loc-1")), m_sibling(Serve("loc-2"))
    {
        AddLock(m_account, "dev-1", "Door");
        AddLock(m_sibling, "dev-2", "Gate");
    }

    CVestaraInterface& m_account;
    CVestaraInterface& m_sibling;
};

TEST_F(DeviceRepliesTest, EachEntryIsRoutedOrSkippedOnItsOwn)
{
    const std::string noNames = "report vestarai 1249: Could not parse DeviceID and/or DeviceName";
    struct {
        const char* entry; // of a list that goes on with the sibling's lock
        Lines effects;
        int routed, toSibling;
        // clang-format off
    } const rows[] = {
        {R"({"location_id":"loc-1","x":[{"name":"%s%n","id":"dev-1"}],"type":"lock"})",
         {"~trace: Processing [%s%n:dev-1] ...", "SetMainLoopTrigger", "~trace: Processing [Gate:dev-2] ..."},
         1, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"loc-2"})", {"SetMainLoopTrigger"}, 0, 2},
        {"7", {Missing("type"), "report vestarai 1242: Unsupported Device type: []"}, 0, 1},
        {R"({"type":"lock","name":"Door","location_id":"loc-1"})", {Missing("id"), noNames}, 0, 1},
        {R"({"type":"lock","id":"dev-1","location_id":"loc-1"})", {Missing("name"), noNames}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door"})",
         {Missing("location_id"), "report vestarai 1255: Could not parse Device's Location ID"}, 0, 1},
        {R"({"type":"lock","id":"dev-1","name":"Door","location_id":"nowhere"})",
         {"report vestarai 1294: VestaraInterface device NULL - aborting ProcessResponse"}, 0, 1},
        {R"({"type":"lock","id":"dev-9","name":"New","location_id":"%d"})",
         {"report vestarai 1271: Could not find interface with ID: [%d]", kNotFound}, 0, 1},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.entry);
        const std::string json = std::string(R"({"data":[)") + row.entry +
                                 R"(,{"type":"lock","id":"dev-2","name":"Gate","location_id":"loc-2"}]})";
        Expect(m_account, CMD_DEVICES_DISCOVER, json, 1, row.effects + Lines{"SetMainLoopTrigger"});
        EXPECT_EQ(m_account.NResponses(), row.routed);
        EXPECT_EQ(m_sibling.NResponses(), row.toSibling);
        m_account.RemoveAllObjects();
        m_sibling.RemoveAllObjects();
    }
    Expect(m_account, CMD_DEVICES_STATUS, R"({"devices":[]})", 0,
           {"report vestarai 1231: 'data' node not found - aborting ProcessResponse"});
}

TEST_F(DeviceRepliesTest, DiscoveryAloneInstallsAndUnderTheOwnerWhichIsRenamed)
{
    const std::string list =
        R"({"data":[{"type":"lock","id":"dev-3","name":"%s","location_id":"loc-2","state":"locked"}]})";
    Expect(m_account, CMD_DEVICES_STATUS, list, 1, {kNotFound});

    m_system->family = [](int) { return nullptr; };
    const std::string noFamily = "report vestarai 2702: Failed to locate Family";
    Expect(m_account, CMD_DEVICES_DISCOVER, list, 1,
           {noFamily, noFamily, "report vestarai 1278: Failed to Install [%s:dev-3]", kNotFound});
    m_system->family = nullptr;

    const std::string own = R"({"data":[{"type":"lock","id":"dev-4","name":"New","location_id":"loc-1"}]})";
    Expect(m_account, CMD_DEVICES_DISCOVER, own, 1, {"NotifyWrite", "SetMainLoopTrigger"});
    EXPECT_EQ(m_account.FindDoorLock("dev-4")->Interface(), &m_account);
    m_sibling.NetworkBridge()->Name("old");
    Expect(m_account, CMD_DEVICES_DISCOVER, list, 1, {"NotifyWrite", "NotifyWrite", "SetMainLoopTrigger"});
    EXPECT_EQ(Str(m_sibling.NetworkBridge()->Name()), "Vestara Interface (Lake House)");
    CPortivo& lock = *m_account.FindDoorLock("dev-3");
    EXPECT_EQ(lock.Interface(), &m_sibling);
    m_sibling.ProcessResponse(m_sibling.NextResponse()); // the list is gone, its entry is not
    EXPECT_EQ(lock.State(), CDoorLock::STATE_SECURED);
    m_journal.Take();
}

TEST_F(DeviceRepliesTest, LockIsToldOfEachAttributeInOrderAlsoOfMissingOnes)
{
    Lines effects = {Missing("name")};
    for (const char* key : {"state", "power_level", "wifi_level", "programming_code", "serial_number",
                            "heartbeat_interval", "connected_at", "updated_at", "alive"})
        effects =
            effects + Lines{Missing(key), "report portivo 318: DataString empty - aborting ProcessCommand"};
    for (const CommandID command : {CMD_DEVICE_GET, CMD_DEVICE_LOCK, CMD_DEVICE_UNLOCK}) {
        Expect(m_account, command, R"({"id":"dev-1"})", 1, effects);
        Expect(m_account, command, R"({"id":"DEV-1","name":"x","alive":"false"})", 0,
               {"report vestarai 1312: DoorLock device NULL - aborting ProcessResponse"});
    }
    CPortivo& lock = *m_account.FindDoorLock("dev-1");
    EXPECT_EQ(lock.Online(), 1);
    Process(m_account, CMD_DEVICE_GET,
            R"({"alive":false,"connected_at":"2023-11-14T22:13:10Z","heartbeat_interval":3600,
                "updated_at":"x","state":"locked","power_level":55,"wifi_level":"70","id":"dev-1",
                "programming_code":"9","serial_number":"S \n","name":"%s \n"})");
    EXPECT_EQ(m_journal.TakeReports(), Lines{});
    EXPECT_EQ(Str(lock.Name()) + Str(lock.TraceName()), "%s Portivo (%s )");
    EXPECT_EQ(lock.Online(), 0);
}

} // namespace support
