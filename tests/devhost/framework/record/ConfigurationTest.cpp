// Saving and loading the configuration: round trips, records that are damaged inside, and saves that fail.
// What is damaged as a text is in tests/borders.

#include "devhost/framework/record/Configuration.h"
#include "devhost/controller/StateJson.h"
#include "devhost/framework/record/MemoryFile.h"
#include "devhost/framework/record/RecordLine.h"
#include "tests/devhost/FakePlugin.h"
#include "tests/support/Clock.h"

#include <filesystem>
#include <fstream>

namespace
{

// A sound line of a kind with these fields.
std::string Record(const std::string& kind, const std::vector<int>& numbers,
                   const std::vector<const char*>& texts = {})
{
    devhost::MemoryFile file;
    for (const int number : numbers)
        file.WriteInt(number);
    for (const char* text : texts)
        file.WriteString(text);
    return devhost::RecordLine{kind, file.Bytes()}.Format() + "\n";
}

// The text with its first line of a kind changed.
std::string Changed(const std::string& text, const std::string& kind,
                    const std::function<std::string(std::string)>& change)
{
    const std::size_t start = ("\n" + text).find("\n" + kind + " "), end = text.find('\n', start) + 1;
    return text.substr(0, start) + change(text.substr(start, end - start)) + text.substr(end);
}

class ConfigurationTest : public SystemTest
{
protected:
    // Two accounts, each with a lock, and a user.
    void SetUp() override
    {
        auto [first, second] = RestartWithTwo();
        first.token = "one\ntwo %s \xff";
        AddLock(first, "Front door").LockState(CDoorLock::STATE_IN_TRANSIT);
        FakeLock& back = AddLock(second, "Back door");
        back.RegisterLockSecured(1);
        back.RegisterBatteryLevel(55);
        back.RegisterSignalStrength(71);
        back.EnableUser(3, 1);
        ASSERT_FALSE(m_system->Security().SetUser(2, {"Ann", "ann@example.com", "1234"}));
        m_system->SetTrace("Fake", true);
        ASSERT_EQ(m_system->Save(), "");
    }
};

} // namespace

TEST_F(ConfigurationTest, EverythingComesBackLinkedAndANameThatTheCloudCutsIsTold)
{
    const auto seen = [&] {
        const CUser& user = *m_system->Security().GetUserAtDoorLockSlot(2);
        nlohmann::json accounts[] = {InterfaceJson(*m_system, *Interface(0).NetworkBridge()),
                                     InterfaceJson(*m_system, *Interface(1).NetworkBridge())};
        for (auto& account : accounts)
            account.erase("health"); // begins anew with the host, at another time
        return nlohmann::json{accounts[0], accounts[1], devhost::LockJson(Lock(1), {}),
                              devhost::UserJson(2, user, true), m_system->Ids().Next()};
    };
    m_system->Traces().Store("Removed", true);
    ASSERT_FALSE(m_system->Security().SetUser(3, {"Bob ", "", "4321"}));
    const auto before = seen();
    ASSERT_EQ(m_system->Save(), "");
    Restart();
    EXPECT_FALSE(m_system->Traces().Switches().contains("Removed"));
    ASSERT_EQ(m_system->NBridges(), 2);
    ASSERT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 2);
    EXPECT_EQ(seen(), before);
    EXPECT_EQ(Interface(0).Client(0), &Lock(0));
    EXPECT_EQ(Interface(1).Client(0), &Lock(1));
    EXPECT_STREQ(Interface(0).token, "one\ntwo %s \xff");
    EXPECT_EQ(Interface(0).inits, 1);
    EXPECT_EQ(Interface(0).TraceEnabled(), 1);
    EXPECT_EQ(Lock(0).State(), CDoorLock::STATE_UNKNOWN) << "a pending command does not survive";
    EXPECT_STREQ(m_system->Security().GetUserAtDoorLockSlot(3)->Name(), "Bob ");
    const auto told = m_journal.Take();
    ASSERT_EQ(told.size(), 1u);
    EXPECT_NE(told[0].find("slot 3 is kept, but its name must not end in a blank"), std::string::npos);
}

TEST_F(ConfigurationTest, WrongRecordsAreLeftOutAndTheFileIsKeptAside)
{
    const std::string sound = *m_store.text;
    EXPECT_EQ(devhost::Configuration::FindFault(sound), std::nullopt);
    const auto by = [](std::string created) { return [created](const std::string&) { return created; }; };
    const std::string earlier = Record("configuration", {1500, 9, 2, 2}); // when not all records were counted
    EXPECT_EQ(devhost::Configuration::FindFault(Changed(sound, "configuration", by(earlier))), std::nullopt);
    // clang-format off
    struct {
        const char* name;
        const char* kind;
        std::function<std::string(std::string)> change;
        int bridges, locks;
        bool user;
    } const rows[] = {
        {"the first line", "configuration", by(std::string(5000, '\0') + "\n"), 2, 2, true},
        {"a lock that ends early", "component", by(Record("component", {kFakeLockType, 3})), 2, 1, true},
        {"an id of nothing", "component", by(Record("component", {kFakeLockType, -1})), 2, 1, true},
        {"a PIN of letters", "user", by(Record("user", {2}, {"Ann", "", "abcd"})), 2, 2, false},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string damaged = Changed(sound, row.kind, row.change);
        // The last three show only to who reads the records.
        EXPECT_EQ(devhost::Configuration::FindFault(damaged).has_value(), &row < std::end(rows) - 3);
        m_store.text = damaged;
        m_store.aside.clear();
        Restart();
        EXPECT_EQ(m_system->NBridges(), row.bridges);
        EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), row.locks);
        EXPECT_EQ(m_system->Security().GetUserAtDoorLockSlot(2) != nullptr, row.user);
        const auto reports = m_journal.TakeReports();
        EXPECT_TRUE(!reports.empty() && reports[0].starts_with("configuration "));
        EXPECT_TRUE(m_store.aside.empty()) << "not before there is a new one";
        // New ids are above every one that was read, even if the line with the next id is lost.
        const unsigned created = CIDServer::Instance()->NewID();
        EXPECT_GT(created, Interface(row.bridges - 1).BridgeID());
        EXPECT_GT(created, Lock(row.locks - 1).ID());
        for (int save = 0; save < 2; ++save) {
            EXPECT_EQ(m_system->Save(), "");
            EXPECT_EQ(m_store.aside, std::vector<std::string>{damaged});
            const auto shown = devhost::SaveJson(m_system->Saving());
            EXPECT_EQ(shown["damaged"], true);
            EXPECT_EQ(shown["kept_aside"].size(), 1u);
        }
    }
}

TEST_F(ConfigurationTest, RecordsOfTypesThatNoLibraryMakesSurviveASave)
{
    std::string foreign = Record("component", {4711, 99}, {"of another library"});
    m_store.text = Changed(*m_store.text, "component", [&](const auto&) { return foreign; });
    for (const char* round : {"first load", "load of what was saved"}) {
        SCOPED_TRACE(round);
        Restart();
        EXPECT_EQ(m_system->NDoorLock(COMPONENT_FILTER_ALL), 1);
        EXPECT_EQ(m_system->Save(), "");
        EXPECT_NE(m_store.text->find(foreign), std::string::npos);
        EXPECT_GT(CIDServer::Instance()->NewID(), 99u);
        EXPECT_TRUE(m_store.aside.empty()) << "nothing was damaged or missing";
    }
}

TEST_F(ConfigurationTest, AFailedSaveKeepsTheOldTextAndIsTriedAgainLater)
{
    support::ManualClock clock;
    Restart();
    const std::string old = *m_store.text;
    const int saves = m_store.saves;
    Interface(0).writable = 0;
    m_system->NotifyWrite();
    for (int i = 0; i < 3; ++i)
        m_system->RunOnce();
    EXPECT_EQ(*m_store.text, old);
    EXPECT_EQ(m_journal.TakeReports().size(), 1u) << "one report, not one a round";
    EXPECT_NE(m_system->Saving().lastError, "");
    Interface(0).writable = 1;
    clock.Advance(29999);
    m_system->RunOnce();
    EXPECT_EQ(m_store.saves, saves);
    clock.Advance(1);
    m_system->RunOnce();
    m_system->RunOnce();
    EXPECT_EQ(m_store.saves, saves + 1);
}

TEST(FileStoreTest, ReplacesWholeFilesForTheirOwnerOnlyAndKeepsDamagedOnes)
{
    std::string pattern = std::filesystem::temp_directory_path() / "vestara-store-XXXXXX";
    const std::filesystem::path folder = mkdtemp(pattern.data()), path = folder / "configuration";
    devhost::FileStore store(path);
    EXPECT_EQ(store.Load(), std::nullopt);
    std::ofstream(path.string() + ".new") << "left by an interrupted save";
    EXPECT_EQ(store.Save("first"), "");
    EXPECT_EQ(store.KeepAside(), "");
    EXPECT_EQ(store.KeepAside(), "");
    const std::string aside = path.string() + ".damaged-";
    EXPECT_EQ(store.KeptAside(), (std::vector<std::string>{aside + "1", aside + "2"}));
    EXPECT_EQ(store.Save(std::string("se\0cond", 7)), "");
    EXPECT_EQ(store.Load(), std::string("se\0cond", 7));
    EXPECT_EQ(devhost::FileStore(aside + "1").Load(), "first");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    EXPECT_FALSE(std::filesystem::exists(path.string() + ".new"));
    EXPECT_NE(devhost::FileStore(folder / "no" / "configuration").Save("x"), "");
    EXPECT_THROW(devhost::FileStore(folder).Load(), std::runtime_error);
    std::filesystem::remove_all(folder);
}
