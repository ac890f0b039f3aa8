// Saving and loading the configuration: round trips, every kind of damage, and saves that fail.

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
std::string Record(const std::string& Kind, const std::vector<int>& Numbers,
                   const std::vector<const char*>& Texts = {})
{
    devhost::MemoryFile File;
    for (const int Number : Numbers)
        File.WriteInt(Number);
    for (const char* pText : Texts)
        File.WriteString(pText);
    return devhost::RecordLine{Kind, File.Bytes()}.Format() + "\n";
}

// The text with its first line of a kind changed.
std::string Changed(const std::string& Text, const std::string& Kind,
                    const std::function<std::string(std::string)>& Change)
{
    const std::size_t Start = ("\n" + Text).find("\n" + Kind + " "), End = Text.find('\n', Start) + 1;
    return Text.substr(0, Start) + Change(Text.substr(Start, End - Start)) + Text.substr(End);
}

class ConfigurationTest : public SystemTest
{
protected:
    // Two accounts, each with a lock, and a user.
    void SetUp() override
    {
        auto [First, Second] = RestartWithTwo();
        First.Token = "one\ntwo %s \xff";
        AddLock(First, "Front door").LockState(CDoorLock::STATE_IN_TRANSIT);
        FakeLock& Back = AddLock(Second, "Back door");
        Back.RegisterLockSecured(1);
        Back.RegisterBatteryLevel(55);
        Back.RegisterSignalStrength(71);
        Back.EnableUser(3, 1);
        ASSERT_FALSE(m_pSystem->Security().SetUser(2, {"Ann", "ann@example.com", "1234"}));
        m_pSystem->SetTrace("Fake", true);
        ASSERT_EQ(m_pSystem->Save(), "");
    }
};

} // namespace

TEST_F(ConfigurationTest, EverythingComesBackLinkedAndANameThatTheCloudCutsIsTold)
{
    const auto Seen = [&] {
        const CUser& User = *m_pSystem->Security().GetUserAtDoorLockSlot(2);
        return nlohmann::json{InterfaceJson(*m_pSystem, *Interface(0).NetworkBridge()),
                              InterfaceJson(*m_pSystem, *Interface(1).NetworkBridge()),
                              devhost::LockJson(Lock(1)), devhost::UserJson(2, User, true),
                              m_pSystem->IDs().Next()};
    };
    m_pSystem->Traces().Store("Removed", true);
    ASSERT_FALSE(m_pSystem->Security().SetUser(3, {"Bob ", "", "4321"}));
    const auto Before = Seen();
    ASSERT_EQ(m_pSystem->Save(), "");
    Restart();
    EXPECT_FALSE(m_pSystem->Traces().Switches().contains("Removed"));
    ASSERT_EQ(m_pSystem->NBridges(), 2);
    ASSERT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 2);
    EXPECT_EQ(Seen(), Before);
    EXPECT_EQ(Interface(0).Client(0), &Lock(0));
    EXPECT_EQ(Interface(1).Client(0), &Lock(1));
    EXPECT_STREQ(Interface(0).Token, "one\ntwo %s \xff");
    EXPECT_EQ(Interface(0).Inits, 1);
    EXPECT_EQ(Interface(0).TraceEnabled(), 1);
    EXPECT_EQ(Lock(0).State(), CDoorLock::STATE_UNKNOWN) << "a pending command does not survive";
    EXPECT_STREQ(m_pSystem->Security().GetUserAtDoorLockSlot(3)->Name(), "Bob ");
    const auto Told = m_Journal.Take();
    ASSERT_EQ(Told.size(), 1u);
    EXPECT_NE(Told[0].find("slot 3 is kept, but its name must not end in a blank"), std::string::npos);
}

TEST_F(ConfigurationTest, DamageSpoilsOnlyWhatItHitsAndTheFileIsKeptAside)
{
    const std::string Sound = *m_Store.Text;
    const auto Flip = [](std::string s) { return s.replace(s.size() - 2, 1, 1, '~'); };
    const auto By = [](std::string New) { return [New](const std::string&) { return New; }; };
    // clang-format off
    struct {
        const char* Name;
        const char* Kind;
        std::function<std::string(std::string)> Change;
        int Bridges, Locks;
        bool User;
    } const Rows[] = {
        {"a byte of a lock", "component", Flip, 2, 1, true},
        {"a byte of an account", "bridge", Flip, 1, 2, true},
        {"the kind of a record", "user", [](auto s) { return "x" + s; }, 2, 2, false},
        {"a length", "user", [](auto s) { return s.insert(5, "9"); }, 2, 2, false},
        {"the first line", "configuration", By(std::string(5000, '\0') + "\n"), 2, 2, true},
        {"no last line", "end", By(""), 2, 2, true},
        {"a lock left out", "component", By(""), 2, 1, true},
        {"an account twice", "bridge", [](auto s) { return s + s; }, 2, 2, true},
        {"a lock that ends early", "component", By(Record("component", {kFakeLockType, 3})), 2, 1, true},
        {"an id of nothing", "component", By(Record("component", {kFakeLockType, -1})), 2, 1, true},
        {"a PIN of letters", "user", By(Record("user", {2}, {"Ann", "", "abcd"})), 2, 2, false},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Name);
        const std::string Damaged = Changed(Sound, Row.Kind, Row.Change);
        m_Store.Text = Damaged;
        m_Store.Aside.clear();
        Restart();
        EXPECT_EQ(m_pSystem->NBridges(), Row.Bridges);
        EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), Row.Locks);
        EXPECT_EQ(m_pSystem->Security().GetUserAtDoorLockSlot(2) != nullptr, Row.User);
        const auto Reports = m_Journal.TakeReports();
        EXPECT_TRUE(!Reports.empty() && Reports[0].starts_with("configuration "));
        EXPECT_TRUE(m_Store.Aside.empty()) << "not before there is a new one";
        // New ids are above every one that was read, even if the line with the next id is lost.
        const unsigned New = CIDServer::Instance()->NewID();
        EXPECT_GT(New, Interface(Row.Bridges - 1).BridgeID());
        EXPECT_GT(New, Lock(Row.Locks - 1).ID());
        for (int Save = 0; Save < 2; ++Save) {
            EXPECT_EQ(m_pSystem->Save(), "");
            EXPECT_EQ(m_Store.Aside, std::vector<std::string>{Damaged});
            const auto Shown = devhost::SaveJson(m_pSystem->Saving());
            EXPECT_EQ(Shown["damaged"], true);
            EXPECT_EQ(Shown["kept_aside"].size(), 1u);
        }
    }
}

TEST_F(ConfigurationTest, RecordsOfTypesThatNoLibraryMakesSurviveASave)
{
    const std::string Foreign = Record("component", {4711, 99}, {"of another library"});
    m_Store.Text = Changed(*m_Store.Text, "component", [&](const auto&) { return Foreign; });
    for (const char* pRound : {"first load", "load of what was saved"}) {
        SCOPED_TRACE(pRound);
        Restart();
        EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 1);
        EXPECT_EQ(m_pSystem->Save(), "");
        EXPECT_NE(m_Store.Text->find(Foreign), std::string::npos);
        EXPECT_GT(CIDServer::Instance()->NewID(), 99u);
        EXPECT_TRUE(m_Store.Aside.empty()) << "nothing was damaged or missing";
    }
}

TEST_F(ConfigurationTest, AFailedSaveKeepsTheOldTextAndIsTriedAgainLater)
{
    support::ManualClock Clock;
    Restart();
    const std::string Old = *m_Store.Text;
    const int Saves = m_Store.Saves;
    Interface(0).Writable = 0;
    m_pSystem->NotifyWrite();
    for (int i = 0; i < 3; ++i)
        m_pSystem->RunOnce();
    EXPECT_EQ(*m_Store.Text, Old);
    EXPECT_EQ(m_Journal.TakeReports().size(), 1u) << "one report, not one a round";
    EXPECT_NE(m_pSystem->Saving().LastError, "");
    Interface(0).Writable = 1;
    Clock.Advance(29999);
    m_pSystem->RunOnce();
    EXPECT_EQ(m_Store.Saves, Saves);
    Clock.Advance(1);
    m_pSystem->RunOnce();
    m_pSystem->RunOnce();
    EXPECT_EQ(m_Store.Saves, Saves + 1);
}

TEST(FileStore, ReplacesWholeFilesForTheirOwnerOnlyAndKeepsDamagedOnes)
{
    std::string Pattern = std::filesystem::temp_directory_path() / "vestara-store-XXXXXX";
    const std::filesystem::path Folder = mkdtemp(Pattern.data()), Path = Folder / "configuration";
    devhost::FileStore Store(Path);
    EXPECT_EQ(Store.Load(), std::nullopt);
    std::ofstream(Path.string() + ".new") << "left by an interrupted save";
    EXPECT_EQ(Store.Save("first"), "");
    EXPECT_EQ(Store.KeepAside(), "");
    EXPECT_EQ(Store.KeepAside(), "");
    const std::string Aside = Path.string() + ".damaged-";
    EXPECT_EQ(Store.KeptAside(), (std::vector<std::string>{Aside + "1", Aside + "2"}));
    EXPECT_EQ(Store.Save(std::string("se\0cond", 7)), "");
    EXPECT_EQ(Store.Load(), std::string("se\0cond", 7));
    EXPECT_EQ(devhost::FileStore(Aside + "1").Load(), "first");
    EXPECT_EQ(std::filesystem::status(Path).permissions(), std::filesystem::perms(0600));
    EXPECT_FALSE(std::filesystem::exists(Path.string() + ".new"));
    EXPECT_NE(devhost::FileStore(Folder / "no" / "configuration").Save("x"), "");
    EXPECT_THROW(devhost::FileStore(Folder).Load(), std::runtime_error);
    std::filesystem::remove_all(Folder);
}
