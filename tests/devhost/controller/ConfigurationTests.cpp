// Saving and loading the configuration: round trips, every kind of damage, and saves that fail.

#include "devhost/framework/Configuration.h"
#include "devhost/framework/MemoryFile.h"
#include "devhost/framework/RecordLine.h"
#include "tests/devhost/controller/FakePlugin.h"
#include "tests/support/Clock.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using devhost::MemoryFile;
using devhost::RecordLine;

std::vector<std::string> SplitLines(const std::string& Text)
{
    std::vector<std::string> Lines;
    for (std::size_t Start = 0; Start < Text.size();) {
        const std::size_t End = Text.find('\n', Start);
        Lines.push_back(Text.substr(Start, End - Start));
        Start = End + 1;
    }
    return Lines;
}

std::string Join(const std::vector<std::string>& Lines)
{
    std::string Text;
    for (const std::string& Line : Lines)
        Text += Line + "\n";
    return Text;
}

// The first line of a kind.
std::string& LineOf(std::vector<std::string>& Lines, const std::string& Kind)
{
    return *std::find_if(Lines.begin(), Lines.end(),
                         [&](const std::string& Line) { return Line.starts_with(Kind + " "); });
}

class ConfigurationTest : public SystemTest
{
protected:
    // Two accounts, each with a lock, and a user.
    void SetUp() override
    {
        Restart();
        FakeInterface& First = AddInterface();
        FakeInterface& Second = AddInterface();
        First.Token = "one\ntwo %s \xff";
        AddLock(First, "Front door");
        FakeLock& Back = AddLock(Second, "Back door");
        Back.RegisterLockSecured(1);
        Back.RegisterBatteryLevel(55);
        Back.EnableUser(3, 1);
        ASSERT_FALSE(m_pSystem->Security().SetUser(2, {"Ann", "ann@example.com", "1234"}));
        m_pSystem->SetTrace("Fake", true);
        ASSERT_EQ(m_pSystem->Save(), "");
    }
};

} // namespace

TEST_F(ConfigurationTest, EverythingComesBackLinked)
{
    const unsigned Next = m_pSystem->IDs().Next();
    Restart();
    ASSERT_EQ(m_pSystem->NBridges(), 2);
    ASSERT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), 2);
    EXPECT_EQ(Interface(0).Token, "one\ntwo %s \xff");
    EXPECT_EQ(Interface(0).Inits, 1);
    EXPECT_EQ(Interface(0).Client(0), &Lock(0));
    EXPECT_EQ(Interface(1).Client(0), &Lock(1));
    EXPECT_EQ(Lock(1).Bridge(), m_pSystem->Bridge(1));
    EXPECT_STREQ(Lock(1).Name(), "Back door");
    EXPECT_EQ(Lock(1).State(), CDoorLock::STATE_SECURED);
    EXPECT_EQ(Lock(1).BatteryLevel(), 55);
    EXPECT_EQ(Lock(1).IsUserEnabled(3), 1);
    EXPECT_STREQ(m_pSystem->Security().GetUserAtDoorLockSlot(2)->PIN_DoorLock(), "1234");
    EXPECT_EQ(Interface(0).TraceEnabled(), 1);
    EXPECT_EQ(m_pSystem->IDs().Next(), Next);
    EXPECT_EQ(m_Sink.Lines(), std::vector<std::string>());
}

TEST_F(ConfigurationTest, DamageSpoilsOnlyWhatItHitsAndTheFileIsKeptAside)
{
    const std::string Sound = *m_Store.Text;
    struct {
        const char* Name;
        std::function<void(std::vector<std::string>&)> Damage;
        int Bridges;
        int Locks;
        bool User;
    } const Rows[] = {
        {"a byte of a lock", [](auto& Lines) { LineOf(Lines, "component").back() ^= 1; }, 2, 1, true},
        {"a byte of an account", [](auto& Lines) { LineOf(Lines, "bridge").back() ^= 1; }, 1, 2, true},
        {"the kind of a record", [](auto& Lines) { LineOf(Lines, "user")[0] = 'x'; }, 2, 2, false},
        {"a length", [](auto& Lines) { LineOf(Lines, "user").insert(5, "9"); }, 2, 2, false},
        {"the first line", [](auto& Lines) { Lines.front() = "rubbish"; }, 2, 2, true},
        {"cut behind the accounts",
         [](auto& Lines) {
             Lines.erase(std::find(Lines.begin(), Lines.end(), LineOf(Lines, "component")), Lines.end());
         },
         2, 0, true},
        {"a lock left out",
         [](auto& Lines) { Lines.erase(std::find(Lines.begin(), Lines.end(), LineOf(Lines, "component"))); },
         2, 1, true},
        {"an account twice", [](auto& Lines) { Lines.push_back(LineOf(Lines, "bridge")); }, 2, 2, true},
        {"all of it", [](auto& Lines) { Lines.assign(1, std::string(5000, '\0')); }, 0, 0, false},
        {"a lock's record that ends early",
         [](auto& Lines) {
             MemoryFile Record;
             Record.WriteInt(kFakeLockType);
             Record.WriteInt(3);
             LineOf(Lines, "component") = RecordLine{"component", Record.Bytes()}.Format();
         },
         2, 1, true},
        {"an id of nothing",
         [](auto& Lines) {
             MemoryFile Record;
             Record.WriteInt(kFakeLockType);
             Record.WriteInt(-1);
             LineOf(Lines, "component") = RecordLine{"component", Record.Bytes()}.Format();
         },
         2, 1, true},
        {"a user with a PIN of letters",
         [](auto& Lines) {
             MemoryFile Record;
             Record.WriteInt(2);
             for (const char* pText : {"Ann", "", "abcd"})
                 Record.WriteString(pText);
             LineOf(Lines, "user") = RecordLine{"user", Record.Bytes()}.Format();
         },
         2, 2, false},
    };
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Name);
        auto Lines = SplitLines(Sound);
        Row.Damage(Lines);
        const std::string Damaged = Join(Lines);
        m_Store.Text = Damaged;
        m_Store.Aside.clear();
        Restart();
        EXPECT_EQ(m_pSystem->NBridges(), Row.Bridges);
        EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), Row.Locks);
        EXPECT_EQ(m_pSystem->Security().GetUserAtDoorLockSlot(2) != nullptr, Row.User);
        EXPECT_TRUE(Reported("configuration:"));
        EXPECT_TRUE(m_Store.Aside.empty()) << "not before there is a new one";
        EXPECT_EQ(m_pSystem->Save(), "");
        EXPECT_EQ(m_Store.Aside, std::vector<std::string>{Damaged});
        EXPECT_EQ(m_pSystem->Save(), "");
        EXPECT_EQ(m_Store.Aside.size(), 1u);
    }
}

TEST_F(ConfigurationTest, NewIdsAreAboveEveryIdThatWasRead)
{
    auto Lines = SplitLines(*m_Store.Text);
    Lines.front() = "rubbish"; // with it the next id is lost
    m_Store.Text = Join(Lines);
    Restart();
    unsigned Highest = 0;
    for (int i = 0; i < 2; ++i)
        Highest = std::max({Highest, Lock(i).ID(), Interface(i).BridgeID()});
    EXPECT_GT(CIDServer::Instance()->NewID(), Highest);
}

TEST_F(ConfigurationTest, RecordsOfTypesThatNoLibraryMakesSurviveASave)
{
    MemoryFile Record;
    Record.WriteInt(4711);
    Record.WriteInt(99);
    Record.WriteString("of another library");
    const std::string Foreign = RecordLine{"component", Record.Bytes()}.Format();
    auto Lines = SplitLines(*m_Store.Text);
    LineOf(Lines, "component") = Foreign;
    m_Store.Text = Join(Lines);
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
    EXPECT_EQ(m_Sink.Lines().size(), 1u) << "one report, not one a round";
    EXPECT_NE(m_pSystem->Saving().LastError, "");
    Interface(0).Writable = 1;
    Clock.Advance(30000);
    m_pSystem->RunOnce();
    EXPECT_EQ(m_Store.Saves, Saves + 1);
    m_pSystem->NotifyWrite();
    m_pSystem->NotifyWrite();
    m_pSystem->RunOnce();
    m_pSystem->RunOnce();
    EXPECT_EQ(m_Store.Saves, Saves + 2) << "asked twice, saved once";
}

TEST(FileStore, ReplacesWholeFilesForTheirOwnerOnlyAndKeepsDamagedOnes)
{
    std::string Folder = std::filesystem::temp_directory_path() / "vestara-store-XXXXXX";
    ASSERT_NE(mkdtemp(Folder.data()), nullptr);
    const std::filesystem::path Path = std::filesystem::path(Folder) / "configuration";
    devhost::FileStore Store(Path);
    EXPECT_EQ(Store.Load(), std::nullopt);
    std::ofstream(Path.string() + ".new") << "left by an interrupted save";
    EXPECT_EQ(Store.Save("first"), "");
    EXPECT_EQ(Store.KeepAside(), "");
    EXPECT_EQ(Store.KeepAside(), "");
    EXPECT_EQ(Store.Save(std::string("se\0cond", 7)), "");
    EXPECT_EQ(Store.Load(), std::string("se\0cond", 7));
    EXPECT_EQ(devhost::FileStore(Path.string() + ".damaged-1").Load(), "first");
    EXPECT_TRUE(std::filesystem::exists(Path.string() + ".damaged-2"));
    struct stat Status {
    };
    ASSERT_EQ(stat(Path.c_str(), &Status), 0);
    EXPECT_EQ(Status.st_mode & 07777, 0600u);
    EXPECT_FALSE(std::filesystem::exists(Path.string() + ".new"));

    devhost::FileStore Nowhere(std::filesystem::path(Folder) / "no" / "configuration");
    EXPECT_NE(Nowhere.Save("x"), "");
    std::filesystem::create_directory(std::filesystem::path(Folder) / "folder");
    EXPECT_THROW(devhost::FileStore(std::filesystem::path(Folder) / "folder").Load(), std::runtime_error);
    std::filesystem::remove_all(Folder);
}
