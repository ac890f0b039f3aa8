// Owns the state folder, so that two hosts never write one configuration.

#include "devhost/controller/StateFolder.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace devhost
{

namespace
{

[[noreturn]] void Fail(const std::filesystem::path& Path, const std::string& Why)
{
    throw std::runtime_error("--state-dir " + Path.string() + " " + Why);
}

std::string UserName(uid_t User)
{
    const passwd* pEntry = getpwuid(User);
    return pEntry ? pEntry->pw_name : "user " + std::to_string(User);
}

// Says whose it is when that is the reason, which it most often is: somebody ran all this with sudo before.
// @param Denied the path that an operation failed on with this error number.
[[noreturn]] void FailOn(const std::filesystem::path& Path, std::filesystem::path Denied, int Error)
{
    struct stat Found = {};
    while (stat(Denied.c_str(), &Found) != 0 && Denied.has_relative_path())
        Denied = Denied.parent_path();
    if ((Error == EACCES || Error == EPERM) && Found.st_uid != geteuid())
        Fail(Path, "cannot be used: " + Denied.string() + " belongs to " + UserName(Found.st_uid) +
                       "; give a folder of your own");
    Fail(Path, std::string("cannot be used: ") + std::strerror(Error));
}

} // namespace

StateFolder::StateFolder(const std::filesystem::path& Path)
{
    if (Path.empty())
        throw std::runtime_error("--state-dir needs the path of a folder");
    m_Path = std::filesystem::absolute(Path);
    if (!m_Path.has_filename()) // ends in a slash
        m_Path = m_Path.parent_path();
    std::error_code Error;
    std::filesystem::create_directories(m_Path.parent_path(), Error);
    if (Error)
        FailOn(m_Path, m_Path.parent_path(), Error.value());
    if (mkdir(m_Path.c_str(), 0700) != 0 && errno != EEXIST)
        FailOn(m_Path, m_Path, errno);
    m_Lock = open((m_Path / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_Lock < 0)
        FailOn(m_Path, m_Path / "lock", errno);
    if (flock(m_Lock, LOCK_EX | LOCK_NB) != 0) {
        const int LockError = errno;
        close(m_Lock);
        if (LockError != EWOULDBLOCK)
            FailOn(m_Path, m_Path / "lock", LockError);
        Fail(m_Path, "is used by another host; end that one, or give another folder");
    }
}

StateFolder::~StateFolder()
{
    close(m_Lock);
}

} // namespace devhost
