// The door-lock base: what registrations do to error, working and user, and the user-codes flag. The rest of
// its record is ConfigurationTests.cpp's.

#include "devhost/framework/record/MemoryFile.h"
#include "tests/devhost/FakePlugin.h"

#include <algorithm>

using DoorLockTest = SystemTest;

TEST_F(DoorLockTest, AnErrorStaysUntilTheStateChangesOrACommandIsGiven)
{
    Restart();
    FakeLock& front = AddLock(AddInterface(), "Front door");
    // clang-format off
    struct {
        const char* name;
        void (*step)(CDoorLock&);
        const char* error;
    } const rows[] = {
        {"the same state again", [](auto& lock) { lock.RegisterLockSecured(1); }, "Offline"},
        {"unknown state", [](auto& lock) { lock.RegisterUnknownState(); }, "Offline"},
        {"a command given up", [](auto& lock) { lock.RegisterWorking(0); }, "Offline"},
        {"another state", [](auto& lock) { lock.RegisterLockUnsecured(1); }, ""},
        {"a command", [](auto& lock) { lock.RegisterWorking(1); }, ""},
    };
    // clang-format on
    for (const auto& row : rows) {
        front.RegisterLockSecured(1);
        front.RegisterErrorState("Offline");
        row.step(front);
        EXPECT_STREQ(front.ErrorText(), row.error) << row.name;
    }
}

TEST_F(DoorLockTest, AReportEndsWorkingAndRepetitionsKeepTheUserOfTheChange)
{
    Restart();
    FakeLock& front = AddLock(AddInterface(), "Front door");
    front.RegisterWorking(1);
    front.RegisterLockUnsecured(103);
    EXPECT_EQ(front.Working(), 0);
    front.RegisterLockUnsecured(1); // the next poll
    EXPECT_EQ(front.LastUser(), 103);
    front.RegisterLockSecured(1);
    front.RegisterLockUnsecured(1); // by hand
    EXPECT_EQ(front.LastUser(), 1);
}

TEST_F(DoorLockTest, TheUserCodesFlagIsReadAndWrittenAsOneOrZero)
{
    Restart();
    FakeLock& front = AddLock(AddInterface(), "Front door");
    const auto record = [&](int flag) {
        devhost::MemoryFile file;
        front.EnableUserCodes(flag);
        front.WriteData(&file, 1500);
        return file.Bytes();
    };
    const std::string off = record(0);
    std::string changed = record(1);
    EXPECT_EQ(record(7), changed);
    *std::ranges::mismatch(changed, off).in1 = 7;
    devhost::MemoryFile file(changed);
    ASSERT_EQ(front.ReadData(&file, 1500), 1);
    EXPECT_EQ(front.UserCodesEnabled(), 1);
}
