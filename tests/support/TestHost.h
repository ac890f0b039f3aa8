#pragma once
// The development host's framework with a hand-moved clock, a scripted cloud and a journal in its seams, and
// the driver linked in.

#include "access/AccessPerson.h"
#include "devhost/framework/record/Store.h"
#include "devhost/framework/system/System.h"
#include "devhost/framework/values/JsonParser.h"
#include "interface/LocationPair.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"
#include "tests/support/Clock.h"
#include "tests/support/Journal.h"
#include "tests/support/Probes.h"
#include "tests/support/ScriptedCloud.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace support
{

using Lines = std::vector<std::string>;

/// A tree of the framework's own parser; fails the test when the text is no JSON.
inline std::unique_ptr<CJSONObject> ParseJson(const std::string& text)
{
    auto tree = devhost::ParseJson(text);
    EXPECT_TRUE(tree) << "the test's JSON does not parse: " << text;
    return tree;
}

inline Lines operator+(const Lines& first, const Lines& second)
{
    Lines all = first;
    all.insert(all.end(), second.begin(), second.end());
    return all;
}

/// What a journal holds with tracing on or off: lines that are marked with "~" in front are written only
/// while it is on.
inline Lines WithTracing(bool enabled, const Lines& marked)
{
    Lines found;
    for (const std::string& line : marked) {
        if (!line.starts_with("~"))
            found.push_back(line);
        else if (enabled)
            found.push_back(line.substr(1));
    }
    return found;
}

/// The development host's system, which notes in the journal what the driver asks of it.
class JournalledSystem : public devhost::System
{
public:
    JournalledSystem(Options parts, Journal& effects) : System(std::move(parts)), m_journal(effects) {}

    CSystemFamily* FamilyByFamily(int number) override
    {
        return family ? family(number) : System::FamilyByFamily(number);
    }
    int NBridges() override { return System::NBridges() + static_cast<int>(strangers.size()); }
    CBridge* Bridge(int i) override
    {
        const auto place = static_cast<std::size_t>(i);
        return place < strangers.size() ? strangers[place]
                                        : System::Bridge(i - static_cast<int>(strangers.size()));
    }
    void NotifyWrite() override { m_journal.Add("NotifyWrite"), System::NotifyWrite(); }
    void NotifyConfigChanged(const char* source, int line) override
    {
        m_journal.Add(std::string("NotifyConfigChanged ") + source + " " + std::to_string(line));
        System::NotifyConfigChanged(source, line);
    }
    void NotifyInterfaceChanged() override
    {
        m_journal.Add("NotifyInterfaceChanged"), System::NotifyInterfaceChanged();
    }
    CQXString GetOAuthState(unsigned bridgeId) override
    {
        m_journal.Add("GetOAuthState " + std::to_string(bridgeId));
        return oauthState.empty() ? System::GetOAuthState(bridgeId) : CQXString(oauthState.c_str());
    }
    void OnSystemExit1(const char* source, int line, int reserved) override
    {
        m_journal.Add(std::string("OnSystemExit1 ") + source + " " + std::to_string(line) + " " +
                      std::to_string(reserved));
        System::OnSystemExit1(source, line, reserved);
    }
    void OnSystemInit() override { m_journal.Add("OnSystemInit"), System::OnSystemInit(); }
    void OnPostSystemInit() override { m_journal.Add("OnPostSystemInit"), System::OnPostSystemInit(); }

    std::string oauthState; ///< when set, the state that the driver is given: addresses become predictable
    std::vector<CBridge*> strangers; ///< what stands in front of the accounts' bridges; null for a gap
    std::function<CSystemFamily*(int)> family; ///< when set, what stands in for the system's families

private:
    Journal& m_journal;
};

/// Base of the driver's tests: one system without threads. A report that the test did not take fails it.
class DriverTest : public ::testing::Test, private devhost::Sleeper
{
protected:
    DriverTest()
    {
        devhost::Framework& parts = devhost::TheFramework();
        parts.transport = &m_cloud;
        parts.diagnostics = &m_journal;
        parts.sleeper = this;
        parts.wakeMainLoop = [this] {
            m_journal.Add("SetMainLoopTrigger");
            return 1;
        };
        parts.redirectUri = [](int schema) {
            return "https://host.example/redirect/" + std::to_string(schema);
        };

        StartSystem();
        m_journal.Take();
    }
    ~DriverTest() override
    {
        m_system.reset();
        devhost::TheFramework() = {};
    }
    void TearDown() override
    {
        for (const std::string& report : m_journal.TakeReports())
            ADD_FAILURE() << "nobody expected: " << report;
    }

    /// Makes the system anew and starts it from the store, as a restart of the host's program does. Whatever
    /// belonged to the former system is gone.
    void StartSystem()
    {
        m_system.reset();
        devhost::System::Options options;
        options.plugins = {DriverEntryPoints()};
        options.store = &m_store;
        options.workers = false;
        m_system = std::make_unique<JournalledSystem>(std::move(options), m_journal);
        m_system->Start();
    }
    /// Adds an account through the host; it has no tokens. Effects of this are taken out of the journal.
    CVestaraInterface& AddAccount()
    {
        CNetworkBridge* bridge = m_system->AddInterface(kVestaraInterfaceType);
        auto& account = dynamic_cast<CVestaraInterface&>(*bridge->DeviceInterface());
        m_journal.Take();
        return account;
    }
    /// Adds an account with tokens "access-1"/"refresh-1" and the location "loc-1" ("Lake House").
    CVestaraInterface& AddReadyAccount()
    {
        CVestaraInterface& account = AddAccount();
        CVestaraInterfaceProbe fields = Probe(account);
        fields.AccessToken() = "access-1";
        fields.RefreshToken() = "refresh-1";
        fields.LocationID() = "loc-1";
        fields.LocationName() = "Lake House";
        return account;
    }
    /// Installs a lock under the account; effects are taken out of the journal.
    CPortivo& AddLock(CVestaraInterface& account, const char* deviceId, const char* name)
    {
        EXPECT_EQ(account.AddNewDoorLock(deviceId, name), 1);
        CPortivo* lock = account.FindDoorLock(deviceId);
        Probe(account).NotifyConfig() = 0;
        Probe(account).NotifyInterface() = 0;
        m_journal.Take();
        return *lock;
    }

    /// Runs the worker's loop for a number of passes on this thread.
    void RunWorker(CVestaraInterface& account, int passes)
    {
        CNetworkBridge* bridge = account.NetworkBridge();
        m_onPass = [&passes, bridge] {
            if (--passes <= 0)
                bridge->ShuttingDown(1);
        };
        EXPECT_EQ(account.Run(), 0);
        m_onPass = nullptr;
        bridge->ShuttingDown(0);
    }
    /// Hands a reply to a command as the send cycle does and processes it. @return ProcessResponse's result.
    static int Process(CVestaraInterface& account, CommandID commandId, const std::string& json,
                       const char* locationId = "", const char* deviceId = "", const char* userId = "",
                       VestaraMethod method = METHOD_READ)
    {
        auto command = std::make_unique<CVestaraCommand>(method, commandId, locationId, deviceId, userId, "");
        command->Response(ParseJson(json).release());
        return account.ProcessResponse(std::move(command));
    }

    /// "METHOD COMMAND location|device|user|access" of each queued command, which stay queued.
    static Lines Queued(CVestaraInterface& account)
    {
        Lines found;
        CTSObList& commands = Probe(account).Commands();
        for (int n = commands.GetCount(); n > 0; --n) {
            auto* command = static_cast<CVestaraCommand*>(commands.RemoveHead());
            found.push_back(std::to_string(command->Method()) + " " +
                            std::to_string(command->GetCommandID()) + " " +
                            std::string(command->LocationID()) + "|" + std::string(command->DeviceID()) +
                            "|" + std::string(command->UserID()) + "|" + std::string(command->AccessID()));
            commands.AddTail(command);
        }
        return found;
    }
    static void DropQueued(CVestaraInterface& account)
    {
        while (account.NextCommand()) {
        }
    }

    /// The journal without the names of the traces' producers, which follow the location's name. Taken.
    Lines TakeEffects()
    {
        Lines effects = m_journal.Take();
        for (std::string& effect : effects)
            if (effect.starts_with("trace "))
                effect.erase(5, effect.find(": ") - 5);
        return effects;
    }
    /// The same without the lines about the worker's pace, which come with every queued command.
    Lines TakeEffectsButPace()
    {
        Lines effects = TakeEffects();
        std::erase_if(effects, [](const std::string& effect) {
            return effect.starts_with("trace: RunIdle delay") ||
                   effect.find("] commands queued [") < effect.size();
        });
        return effects;
    }
    /// Puts a person into the registry, and a user into a slot of the controller; effects are taken.
    void AddPerson(CVestaraInterface& account, int index, const char* id, const char* name,
                   const char* pin = "1111", const char* email = "")
    {
        auto person = std::make_unique<CAccessPerson>(index, id, pin, name, email);
        EXPECT_EQ(account.InsertAccessPerson(person), 1) << name;
        m_journal.Take();
    }
    void SetUser(int slot, const char* name, const char* pin = "1111", const char* email = "")
    {
        EXPECT_EQ(m_system->Security().SetUser(slot, {name, email, pin}), std::nullopt);
        m_journal.Take();
    }
    /// "INDEX|ID|NAME|PIN|EMAIL" of each access person, in the registry's order.
    static Lines Persons(CVestaraInterface& account)
    {
        Lines found;
        for (const auto& person : Probe(account).AccessPersons().All()) {
            std::string line = std::to_string(person->Index());
            for (const CQXString& field : {person->ID(), person->Name(), person->PinCode(), person->Email()})
                line.append("|").append(field);
            found.push_back(line);
        }
        return found;
    }
    /// The ids of the candidate locations.
    static Lines Candidates(CVestaraInterface& account)
    {
        Lines found;
        const CQXObList& list = Probe(account).Locations();
        for (CQXPos* pos = list.GetHeadPosition(); pos;)
            found.emplace_back(static_cast<const CLocationPair*>(list.GetNext(pos))->ID());
        return found;
    }
    static CVestaraInterfaceProbe Probe(CVestaraInterface& account)
    {
        return CVestaraInterfaceProbe(account);
    }

    ManualClock m_clock;
    Journal m_journal;
    ScriptedCloud m_cloud;
    devhost::MemoryStore m_store;
    std::unique_ptr<JournalledSystem> m_system;
    std::function<void()> m_onPass; ///< called after each pause of 100 ms, the length of a worker's pass

private:
    /// Moves the clock instead of sleeping.
    void Sleep(std::chrono::milliseconds time) override
    {
        // The worker's pass is too frequent to be an effect; every other pause is one.
        constexpr std::chrono::milliseconds kPass{100};
        if (time != kPass)
            m_journal.Add("Sleep " + std::to_string(time.count()));
        m_clock.Advance(static_cast<std::uint64_t>(time.count()));
        if (time == kPass && m_onPass)
            m_onPass();
    }
};

} // namespace support
