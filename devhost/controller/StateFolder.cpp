// Owns the state folder, so that two hosts never write one configuration.

#include "devhost/controller/StateFolder.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace devhost
{

StateFolder::StateFolder(const std::filesystem::path& Path) : m_Path(std::filesystem::absolute(Path))
{
    if (m_Path.has_parent_path())
        std::filesystem::create_directories(m_Path.parent_path());
    if (mkdir(m_Path.c_str(), 0700) != 0 && errno != EEXIST)
        throw std::runtime_error("cannot make the state folder " + m_Path.string() + ": " +
                                 std::strerror(errno));
    m_Lock = open((m_Path / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_Lock < 0)
        throw std::runtime_error("cannot use the state folder " + m_Path.string() + ": " +
                                 std::strerror(errno));
    if (flock(m_Lock, LOCK_EX | LOCK_NB) != 0) {
        close(m_Lock);
        throw std::runtime_error("another host uses the state folder " + m_Path.string());
    }
}

StateFolder::~StateFolder()
{
    close(m_Lock);
}

} // namespace devhost
