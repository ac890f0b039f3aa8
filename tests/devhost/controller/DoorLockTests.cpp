// The door-lock base: what registrations do to state, error, working and the deferred save.

#include "tests/devhost/controller/FakePlugin.h"

namespace
{

class DoorLockTest : public SystemTest
{
protected:
    void SetUp() override
    {
        Restart();
        m_pLock = &AddLock(AddInterface(), "Front door");
    }

    FakeLock* m_pLock = nullptr;
};

} // namespace

TEST_F(DoorLockTest, AnErrorStaysUntilTheStateChangesOrACommandIsGiven)
{
    struct {
        const char* Name;
        std::function<void(CDoorLock&)> Step;
        const char* Error;
    } const Rows[] = {
        {"the same state again", [](CDoorLock& Lock) { Lock.RegisterLockSecured(1); }, "Offline"},
        {"unknown state", [](CDoorLock& Lock) { Lock.RegisterUnknownState(); }, "Offline"},
        {"a command given up", [](CDoorLock& Lock) { Lock.RegisterWorking(0); }, "Offline"},
        {"another level", [](CDoorLock& Lock) { Lock.RegisterBatteryLevel(12); }, "Offline"},
        {"another state", [](CDoorLock& Lock) { Lock.RegisterLockUnsecured(1); }, ""},
        {"a command", [](CDoorLock& Lock) { Lock.RegisterWorking(1); }, ""},
    };
    for (const auto& Row : Rows) {
        m_pLock->RegisterLockSecured(1);
        m_pLock->RegisterErrorState("Offline");
        Row.Step(*m_pLock);
        EXPECT_STREQ(m_pLock->ErrorText(), Row.Error) << Row.Name;
    }
}

TEST_F(DoorLockTest, AReportEndsWorkingAndRepetitionsKeepTheUserOfTheChange)
{
    m_pLock->RegisterUnlockCommand(3);
    m_pLock->RegisterWorking(1);
    EXPECT_EQ(m_pLock->Working(), 1);
    m_pLock->RegisterLockUnsecured(103);
    EXPECT_EQ(m_pLock->Working(), 0);
    m_pLock->RegisterLockUnsecured(1); // the next poll
    EXPECT_EQ(m_pLock->LastUser(), 103);
    m_pLock->RegisterLockSecured(1);
    m_pLock->RegisterLockUnsecured(1); // by hand
    EXPECT_EQ(m_pLock->LastUser(), 1);
    EXPECT_EQ(m_pLock->CommandUser(), 3);
}

TEST_F(DoorLockTest, APendingCommandDoesNotSurviveARestartButTheStateDoes)
{
    m_pLock->RegisterLockUnsecured(1);
    m_pLock->RegisterSignalStrength(71);
    ASSERT_EQ(m_pSystem->Save(), "");
    Restart();
    EXPECT_EQ(Lock(0).State(), CDoorLock::STATE_UNSECURED);
    EXPECT_EQ(Lock(0).SignalStrength(), 71);

    struct InTransit : FakeLock {
        using CDoorLock::LockState;
    };
    (Lock(0).*(&InTransit::LockState))(CDoorLock::STATE_IN_TRANSIT);
    ASSERT_EQ(m_pSystem->Save(), "");
    Restart();
    EXPECT_EQ(Lock(0).State(), CDoorLock::STATE_UNKNOWN);
}
