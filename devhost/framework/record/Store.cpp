// Keeps the configuration text in a file or in memory. What the text says is Configuration.cpp's.

#include "devhost/framework/record/Store.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace devhost
{

namespace
{

std::string ErrorText(const std::string& what, const std::filesystem::path& path)
{
    return what + " " + path.string() + ": " + std::strerror(errno);
}

class Descriptor
{
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_fd; }

private:
    int m_fd;
};

bool WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t n = write(fd, text.data(), text.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

constexpr const char* kAsideMark = ".damaged-";

// Without this the rename itself may be lost with the power.
bool FlushFolder(const std::filesystem::path& folder)
{
    const Descriptor fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.Get() >= 0 && fsync(fd.Get()) == 0;
}

} // namespace

std::optional<std::string> FileStore::Load()
{
    std::error_code error;
    const auto status = std::filesystem::symlink_status(m_path, error);
    if (status.type() == std::filesystem::file_type::not_found)
        return std::nullopt;
    if (!std::filesystem::is_regular_file(m_path, error))
        throw std::runtime_error(m_path.string() + " is not a file");
    std::ifstream file(m_path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || (text.fail() && std::filesystem::file_size(m_path) != 0))
        throw std::runtime_error(ErrorText("cannot read", m_path));
    return text.str();
}

std::string FileStore::Save(std::string_view text)
{
    const std::filesystem::path newFile = m_path.string() + ".new";
    {
        unlink(newFile.c_str()); // one left by an interrupted save may have another mode
        const Descriptor fd(open(newFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (fd.Get() < 0)
            return ErrorText("cannot create", newFile);
        if (!WriteAll(fd.Get(), text) || fsync(fd.Get()) != 0) {
            std::string error = ErrorText("cannot write", newFile);
            unlink(newFile.c_str());
            return error;
        }
    }
    if (rename(newFile.c_str(), m_path.c_str()) != 0) {
        std::string error = ErrorText("cannot replace", m_path);
        unlink(newFile.c_str());
        return error;
    }
    if (!FlushFolder(m_path.parent_path()))
        return ErrorText("cannot flush", m_path.parent_path());
    return {};
}

std::string FileStore::KeepAside()
{
    for (int i = 1; i < 10000; ++i) {
        const std::filesystem::path aside = m_path.string() + kAsideMark + std::to_string(i);
        // A second name, and not a renaming: a crash before the next save must not lose the file.
        if (link(m_path.c_str(), aside.c_str()) == 0)
            return {};
        if (errno != EEXIST)
            return ErrorText("cannot keep the damaged file as", aside);
    }
    return "cannot keep the damaged file: no free name beside " + m_path.string();
}

std::vector<std::string> FileStore::KeptAside() const
{
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(m_path.parent_path(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        if (entry->path().string().starts_with(m_path.string() + kAsideMark))
            names.push_back(entry->path().string());
    }
    // Numbers without leading zeros: a shorter name has a lower one.
    std::ranges::sort(names, {}, [](const std::string& name) { return std::pair(name.size(), name); });
    return names;
}

std::string MemoryStore::Save(std::string_view newText)
{
    if (!nextError.empty())
        return nextError;
    text = std::string(newText);
    ++saves;
    return {};
}

std::string MemoryStore::KeepAside()
{
    aside.push_back(text.value_or(""));
    return {};
}

std::vector<std::string> MemoryStore::KeptAside() const
{
    std::vector<std::string> names;
    for (std::size_t i = 1; i <= aside.size(); ++i)
        names.push_back("damaged-" + std::to_string(i));
    return names;
}

} // namespace devhost
