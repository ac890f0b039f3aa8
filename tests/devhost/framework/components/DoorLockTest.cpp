// The door-lock base: what registrations do to error, working and user, and the user-codes flag. The rest of
// its record is ConfigurationTests.cpp's.

#include "devhost/framework/record/MemoryFile.h"
#include "tests/devhost/FakePlugin.h"

#include <algorithm>

using DoorLockTest = SystemTest;

TEST_F(DoorLockTest, AnErrorStaysUntilTheStateChangesOrACommandIsGiven)
{
    Restart();
    FakeLock& Front = AddLock(AddInterface(), "Front door");
    // clang-format off
    struct {
        const char* Name;
        void (*Step)(CDoorLock&);
        const char* Error;
    } const Rows[] = {
        {"the same state again", [](auto& Lock) { Lock.RegisterLockSecured(1); }, "Offline"},
        {"unknown state", [](auto& Lock) { Lock.RegisterUnknownState(); }, "Offline"},
        {"a command given up", [](auto& Lock) { Lock.RegisterWorking(0); }, "Offline"},
        {"another state", [](auto& Lock) { Lock.RegisterLockUnsecured(1); }, ""},
        {"a command", [](auto& Lock) { Lock.RegisterWorking(1); }, ""},
    };
    // clang-format on
    for (const auto& Row : Rows) {
        Front.RegisterLockSecured(1);
        Front.RegisterErrorState("Offline");
        Row.Step(Front);
        EXPECT_STREQ(Front.ErrorText(), Row.Error) << Row.Name;
    }
}

TEST_F(DoorLockTest, AReportEndsWorkingAndRepetitionsKeepTheUserOfTheChange)
{
    Restart();
    FakeLock& Front = AddLock(AddInterface(), "Front door");
    Front.RegisterWorking(1);
    Front.RegisterLockUnsecured(103);
    EXPECT_EQ(Front.Working(), 0);
    Front.RegisterLockUnsecured(1); // the next poll
    EXPECT_EQ(Front.LastUser(), 103);
    Front.RegisterLockSecured(1);
    Front.RegisterLockUnsecured(1); // by hand
    EXPECT_EQ(Front.LastUser(), 1);
}

TEST_F(DoorLockTest, TheUserCodesFlagIsReadAndWrittenAsOneOrZero)
{
    Restart();
    FakeLock& Front = AddLock(AddInterface(), "Front door");
    const auto Record = [&](int Flag) {
        devhost::MemoryFile File;
        Front.EnableUserCodes(Flag);
        Front.WriteData(&File, 1500);
        return File.Bytes();
    };
    const std::string Off = Record(0);
    std::string Changed = Record(1);
    EXPECT_EQ(Record(7), Changed);
    *std::ranges::mismatch(Changed, Off).in1 = 7;
    devhost::MemoryFile File(Changed);
    ASSERT_EQ(Front.ReadData(&File, 1500), 1);
    EXPECT_EQ(Front.UserCodesEnabled(), 1);
}
