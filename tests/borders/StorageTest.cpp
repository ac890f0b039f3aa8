// Disks that fail at every step of a save or are full, and two hosts on one folder.

#include "devhost/controller/Activity.h"
#include "devhost/controller/Database.h"
#include "devhost/controller/StateFolder.h"
#include "devhost/framework/record/Store.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <limits>
#include <optional>

#include <sys/resource.h>
#include <unistd.h>

namespace
{

// What goes wrong meanwhile. The linker leads the calls of the program past it.
struct Fault {
    std::string call;
    int reason;
    int before;                                                 // so many calls go well
    int hit = 0;                                                // that failed
    std::size_t room = std::numeric_limits<std::size_t>::max(); // bytes that the disk takes yet
};
std::optional<Fault> g_fault;

bool Fails(const char* call)
{
    if (!g_fault || g_fault->call != call || g_fault->before-- > 0)
        return false;
    ++g_fault->hit;
    errno = g_fault->reason;
    return true;
}

} // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_write(int fd, const void* bytes, std::size_t size);
int __real_fsync(int fd);
int __real_rename(const char* from, const char* to);

int __wrap_open(const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return Fails("open") ? -1 : __real_open(path, flags, mode);
}
ssize_t __wrap_write(int fd, const void* bytes, std::size_t size)
{
    if (Fails("write"))
        return -1;
    if (g_fault && g_fault->call == "room") {
        if (g_fault->room == 0 && ++g_fault->hit > 0) {
            errno = g_fault->reason;
            return -1;
        }
        size = std::min(size, g_fault->room);
        g_fault->room -= size;
    }
    return __real_write(fd, bytes, size);
}
int __wrap_fsync(int fd)
{
    return Fails("fsync") ? -1 : __real_fsync(fd);
}
int __wrap_rename(const char* from, const char* to)
{
    return Fails("rename") ? -1 : __real_rename(from, to);
}
}

class StorageBorderTest : public testing::Test
{
protected:
    StorageBorderTest()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "vestara-storage-XXXXXX";
        m_folder = mkdtemp(pattern.data());
    }
    ~StorageBorderTest() override { std::filesystem::remove_all(m_folder); }

    std::filesystem::path m_folder;
};

TEST_F(StorageBorderTest, ASaveThatFailsSaysSoAndLeavesAWholeTextAndNothingElse)
{
    const std::string old(50, 'o'), next(60, 'n');
    devhost::FileStore store(m_folder / "configuration");
    for (const support::Row& row : support::ReadTable("storage")) {
        SCOPED_TRACE(row.at("case"));
        int failures = 0;
        for (int i = 0;; ++i, ++failures) {
            ASSERT_EQ(store.Save(old), "");
            g_fault = Fault{row.at("call"), std::stoi(row.at("reason")), i};
            if (row.at("call") == "room")
                g_fault->room = static_cast<std::size_t>(i);
            const std::string error = store.Save(next);
            const bool failed = g_fault->hit > 0;
            g_fault.reset();
            const auto stored = store.Load();
            if (!failed) {
                EXPECT_EQ(error, "");
                EXPECT_EQ(stored, next);
                break;
            }
            EXPECT_THAT(error, testing::HasSubstr(std::strerror(std::stoi(row.at("reason"))))) << i;
            EXPECT_TRUE(stored == old || (row.at("stored") == "either" && stored == next)) << i;
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 1)
                << "nothing is left beside";
        }
        EXPECT_EQ(failures, row.at("call") == "room" ? 60 : row.at("stored") == "either" ? 2 : 1);
    }
}

TEST_F(StorageBorderTest, AHistoryThatIsSoundStaysWhereItIsWhenTheDiskIsFull)
{
    const auto open = [&] {
        devhost::Database database(m_folder / "activity.db", {devhost::Activity::kTable});
    };
    open();
    const auto onFullSize = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    for (const rlim_t room : {0UL, 1000UL, 40000UL}) {
        const rlimit full{room, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        open();
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_FALSE(std::filesystem::exists(m_folder / "activity.db.damaged")) << room;
    }
    std::signal(SIGXFSZ, onFullSize);
}

TEST_F(StorageBorderTest, ASecondHostOnTheFolderIsRefusedUntilTheFirstHasGone)
{
    for (int i = 0; i < 2; ++i) {
        const devhost::StateFolder first(m_folder);
        EXPECT_THAT(
            [&] { devhost::StateFolder second(m_folder / "."); },
            testing::ThrowsMessage<std::runtime_error>(testing::AllOf(
                testing::HasSubstr(m_folder.string()), testing::HasSubstr("is used by another host"))));
    }
}
