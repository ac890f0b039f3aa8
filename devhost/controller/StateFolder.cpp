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

[[noreturn]] void Fail(const std::filesystem::path& path, const std::string& why)
{
    throw std::runtime_error("--state-dir " + path.string() + " " + why);
}

std::string UserName(uid_t user)
{
    const passwd* entry = getpwuid(user);
    return entry ? entry->pw_name : "user " + std::to_string(user);
}

// Says whose it is when that is the reason, which it most often is: somebody ran all this with sudo before.
// @param denied the path that an operation failed on with this error number.
[[noreturn]] void FailOn(const std::filesystem::path& path, std::filesystem::path denied, int error)
{
    struct stat found = {};
    while (stat(denied.c_str(), &found) != 0 && denied.has_relative_path())
        denied = denied.parent_path();
    if ((error == EACCES || error == EPERM) && found.st_uid != geteuid())
        Fail(path, "cannot be used: " + denied.string() + " belongs to " + UserName(found.st_uid) +
                       "; give a folder of your own");
    Fail(path, std::string("cannot be used: ") + std::strerror(error));
}

} // namespace

StateFolder::StateFolder(const std::filesystem::path& path)
{
    if (path.empty())
        throw std::runtime_error("--state-dir needs the path of a folder");
    m_path = std::filesystem::absolute(path);
    if (!m_path.has_filename()) // ends in a slash
        m_path = m_path.parent_path();
    std::error_code error;
    std::filesystem::create_directories(m_path.parent_path(), error);
    if (error)
        FailOn(m_path, m_path.parent_path(), error.value());
    if (mkdir(m_path.c_str(), 0700) != 0 && errno != EEXIST)
        FailOn(m_path, m_path, errno);
    m_lock = open((m_path / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_lock < 0)
        FailOn(m_path, m_path / "lock", errno);
    if (flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        const int lockError = errno;
        close(m_lock);
        if (lockError != EWOULDBLOCK)
            FailOn(m_path, m_path / "lock", lockError);
        Fail(m_path, "is used by another host; end that one, or give another folder");
    }
}

StateFolder::~StateFolder()
{
    close(m_lock);
}

} // namespace devhost
