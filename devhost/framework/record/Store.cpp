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

std::string ErrorText(const std::string& What, const std::filesystem::path& Path)
{
    return What + " " + Path.string() + ": " + std::strerror(errno);
}

class Descriptor
{
public:
    explicit Descriptor(int Fd) : m_Fd(Fd) {}
    ~Descriptor()
    {
        if (m_Fd >= 0)
            close(m_Fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_Fd; }

private:
    int m_Fd;
};

bool WriteAll(int Fd, std::string_view Text)
{
    while (!Text.empty()) {
        const ssize_t n = write(Fd, Text.data(), Text.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        Text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

constexpr const char* kAsideMark = ".damaged-";

// Without this the rename itself may be lost with the power.
bool FlushFolder(const std::filesystem::path& Folder)
{
    const Descriptor Fd(open(Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return Fd.Get() >= 0 && fsync(Fd.Get()) == 0;
}

} // namespace

std::optional<std::string> FileStore::Load()
{
    std::error_code Error;
    const auto Status = std::filesystem::symlink_status(m_Path, Error);
    if (Status.type() == std::filesystem::file_type::not_found)
        return std::nullopt;
    if (!std::filesystem::is_regular_file(m_Path, Error))
        throw std::runtime_error(m_Path.string() + " is not a file");
    std::ifstream File(m_Path, std::ios::binary);
    std::ostringstream Text;
    Text << File.rdbuf();
    if (!File || (Text.fail() && std::filesystem::file_size(m_Path) != 0))
        throw std::runtime_error(ErrorText("cannot read", m_Path));
    return Text.str();
}

std::string FileStore::Save(std::string_view Text)
{
    const std::filesystem::path New = m_Path.string() + ".new";
    {
        unlink(New.c_str()); // one left by an interrupted save may have another mode
        const Descriptor Fd(open(New.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (Fd.Get() < 0)
            return ErrorText("cannot create", New);
        if (!WriteAll(Fd.Get(), Text) || fsync(Fd.Get()) != 0) {
            const std::string Error = ErrorText("cannot write", New);
            unlink(New.c_str());
            return Error;
        }
    }
    if (rename(New.c_str(), m_Path.c_str()) != 0) {
        const std::string Error = ErrorText("cannot replace", m_Path);
        unlink(New.c_str());
        return Error;
    }
    if (!FlushFolder(m_Path.parent_path()))
        return ErrorText("cannot flush", m_Path.parent_path());
    return {};
}

std::string FileStore::KeepAside()
{
    for (int i = 1; i < 10000; ++i) {
        const std::filesystem::path Aside = m_Path.string() + kAsideMark + std::to_string(i);
        // A second name, and not a renaming: a crash before the next save must not lose the file.
        if (link(m_Path.c_str(), Aside.c_str()) == 0)
            return {};
        if (errno != EEXIST)
            return ErrorText("cannot keep the damaged file as", Aside);
    }
    return "cannot keep the damaged file: no free name beside " + m_Path.string();
}

std::vector<std::string> FileStore::KeptAside() const
{
    std::vector<std::string> Names;
    std::error_code Error;
    std::filesystem::directory_iterator Entry(m_Path.parent_path(), Error);
    for (; !Error && Entry != std::filesystem::directory_iterator(); Entry.increment(Error)) {
        if (Entry->path().string().starts_with(m_Path.string() + kAsideMark))
            Names.push_back(Entry->path().string());
    }
    // Numbers without leading zeros: a shorter name has a lower one.
    std::ranges::sort(Names, {}, [](const std::string& Name) { return std::pair(Name.size(), Name); });
    return Names;
}

std::string MemoryStore::Save(std::string_view NewText)
{
    if (!NextError.empty())
        return NextError;
    Text = std::string(NewText);
    ++Saves;
    return {};
}

std::string MemoryStore::KeepAside()
{
    Aside.push_back(Text.value_or(""));
    return {};
}

std::vector<std::string> MemoryStore::KeptAside() const
{
    std::vector<std::string> Names;
    for (std::size_t i = 1; i <= Aside.size(); ++i)
        Names.push_back("damaged-" + std::to_string(i));
    return Names;
}

} // namespace devhost
