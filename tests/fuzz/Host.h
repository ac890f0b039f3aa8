#pragma once
// The test host for the fuzzers, with an account that has been at work.

#include "tests/fuzz/Fuzz.h"
#include "tests/support/TestHost.h"

namespace fuzz
{

/// One for each input. Reports and traces are dropped, with traces on, so that their texts are made.
class Host : public support::DriverTest
{
public:
    Host() { Restart(); }
    ~Host() override { m_journal.Take(); }

    /// Loads the configuration text; nothing begins anew.
    void Restart(std::optional<std::string> configuration = {})
    {
        m_store.text = std::move(configuration);
        StartSystem();
        m_system->SetTraceAll(true);
        m_journal.Take();
    }
    /// Saves, and loads what was saved.
    std::string Reload()
    {
        Require(m_system->Save().empty(), "what was loaded can be saved");
        std::string saved = *m_store.text;
        Restart(saved);
        Require(!m_system->Saving().damaged, "what was saved is sound");
        return saved;
    }
    std::string Saved()
    {
        Require(m_system->Save().empty(), "it can be saved");
        return *m_store.text;
    }
    /// An account with a lock, a user, and persons with and without slot and id.
    CVestaraInterface& AddFullAccount()
    {
        CVestaraInterface& account = AddReadyAccount();
        account.TraceEnabled(1);
        AddLock(account, "front", "Front");
        SetUser(4, "Ann", "1111", "ann@x.example");
        account.FindDoorLock("front")->EnableUser(CSecurityServer::Instance()->GetUserAtDoorLockSlot(4)->ID(),
                                                  1);
        AddPerson(account, 4, "", "Ann", "1111", "ann@x.example");
        AddPerson(account, 5, "p-ben", "Ben");
        AddPerson(account, -1, "p-dan", "Dan");
        return account;
    }
    using DriverTest::AddAccount;
    using DriverTest::DropQueued;
    using DriverTest::m_clock;
    using DriverTest::m_system;
    using DriverTest::Process;

private:
    void TestBody() override {}
};

/// Reads items as people can write them, between tabs: "i5" a number, "sText" a text. Each is handed over as
/// its kind and its value.
template <class Take>
void ForEachItem(std::string_view text, Take take)
{
    while (!text.empty()) {
        const std::string item(TakeUntil(text, '\t'));
        if (!item.empty())
            take(item[0], item.substr(1));
    }
}

} // namespace fuzz
