// Saving and loading the configuration: round trips, every kind of damage, and saves that fail.

#include "devhost/framework/Configuration.h"
#include "devhost/framework/MemoryFile.h"
#include "devhost/framework/RecordLine.h"
#include "tests/devhost/controller/FakePlugin.h"
#include "tests/support/Clock.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <variant>

namespace
{

// The text of a store, line by line.
class Records
{
public:
    explicit Records(const std::string& Text)
    {
        for (std::size_t Start = 0, End = 0; Start < Text.size(); Start = End + 1) {
            End = Text.find('\n', Start);
            Lines.push_back(Text.substr(Start, End - Start));
        }
    }
    std::string Text() const
    {
        std::string Result;
        for (const std::string& Line : Lines)
            Result += Line + "\n";
        return Result;
    }
    // The first line of a kind.
    auto Find(const std::string& Kind)
    {
        return std::find_if(Lines.begin(), Lines.end(),
                            [&](const auto& s) { return s.starts_with(Kind + " "); });
    }
    std::string& operator[](const std::string& Kind) { return *Find(Kind); }

    std::vector<std::string> Lines;
};

// A sound line of that kind with these fields.
std::string Record(const std::string& Kind, const std::vector<std::variant<int, const char*>>& Fields)
{
    devhost::MemoryFile File;
    for (const auto& Field : Fields) {
        if (const int* pNumber = std::get_if<int>(&Field))
            File.WriteInt(*pNumber);
        else
            File.WriteString(std::get<const char*>(Field));
    }
    return devhost::RecordLine{Kind, File.Bytes()}.Format();
}

class ConfigurationTest : public SystemTest
{
protected:
    // Two accounts, each with a lock, and a user.
    void SetUp() override
    {
        auto [First, Second] = RestartWithTwo();
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
    // clang-format off
    struct {
        const char* Name;
        std::function<void(Records&)> Damage;
        int Bridges, Locks;
        bool User;
    } const Rows[] = {
        {"a byte of a lock", [](auto& All) { All["component"].back() ^= 1; }, 2, 1, true},
        {"a byte of an account", [](auto& All) { All["bridge"].back() ^= 1; }, 1, 2, true},
        {"the kind of a record", [](auto& All) { All["user"][0] = 'x'; }, 2, 2, false},
        {"a length", [](auto& All) { All["user"].insert(5, "9"); }, 2, 2, false},
        {"the first line", [](auto& All) { All.Lines.front() = "rubbish"; }, 2, 2, true},
        {"cut behind the accounts", [](auto& s) { s.Lines.erase(s.Find("component"), s.Lines.end()); },
         2, 0, true},
        {"a lock left out", [](auto& All) { All.Lines.erase(All.Find("component")); }, 2, 1, true},
        {"an account twice", [](auto& All) { All.Lines.push_back(All["bridge"]); }, 2, 2, true},
        {"all of it", [](auto& All) { All.Lines.assign(1, std::string(5000, '\0')); }, 0, 0, false},
        {"a lock's record that ends early",
         [](auto& All) { All["component"] = Record("component", {kFakeLockType, 3}); }, 2, 1, true},
        {"an id of nothing",
         [](auto& All) { All["component"] = Record("component", {kFakeLockType, -1}); }, 2, 1, true},
        {"a user with a PIN of letters",
         [](auto& All) { All["user"] = Record("user", {2, "Ann", "", "abcd"}); }, 2, 2, false},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Name);
        Records Damaged(Sound);
        Row.Damage(Damaged);
        m_Store.Text = Damaged.Text();
        m_Store.Aside.clear();
        Restart();
        EXPECT_EQ(m_pSystem->NBridges(), Row.Bridges);
        EXPECT_EQ(m_pSystem->NDoorLock(COMPONENT_FILTER_ALL), Row.Locks);
        EXPECT_EQ(m_pSystem->Security().GetUserAtDoorLockSlot(2) != nullptr, Row.User);
        EXPECT_TRUE(Reported("configuration:"));
        EXPECT_TRUE(m_Store.Aside.empty()) << "not before there is a new one";
        // New ids are above every one that was read, even if the line with the next id is lost.
        const unsigned New = CIDServer::Instance()->NewID();
        for (int i = 0; i < Row.Locks; ++i)
            EXPECT_GT(New, Lock(i).ID());
        for (int i = 0; i < Row.Bridges; ++i)
            EXPECT_GT(New, Interface(i).BridgeID());
        for (int Save = 0; Save < 2; ++Save) {
            EXPECT_EQ(m_pSystem->Save(), "");
            EXPECT_EQ(m_Store.Aside, std::vector<std::string>{Damaged.Text()});
        }
    }
}

TEST_F(ConfigurationTest, RecordsOfTypesThatNoLibraryMakesSurviveASave)
{
    const std::string Foreign = Record("component", {4711, 99, "of another library"});
    Records All(*m_Store.Text);
    All["component"] = Foreign;
    m_Store.Text = All.Text();
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
    std::string Pattern = std::filesystem::temp_directory_path() / "vestara-store-XXXXXX";
    const std::filesystem::path Folder = mkdtemp(Pattern.data()), Path = Folder / "configuration";
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
    EXPECT_EQ(std::filesystem::status(Path).permissions(), std::filesystem::perms(0600));
    EXPECT_FALSE(std::filesystem::exists(Path.string() + ".new"));
    EXPECT_NE(devhost::FileStore(Folder / "no" / "configuration").Save("x"), "");
    EXPECT_THROW(devhost::FileStore(Folder).Load(), std::runtime_error);
    std::filesystem::remove_all(Folder);
}
