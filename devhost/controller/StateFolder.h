#pragma once
// The folder that one running host owns.

#include <filesystem>

namespace devhost
{

/// Makes the folder (mode 0700) and holds it for this process as long as the object lives.
class StateFolder
{
public:
    /// @throws std::runtime_error when it cannot be made, or another host holds it.
    explicit StateFolder(const std::filesystem::path& path);
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    std::filesystem::path ConfigurationFile() const { return m_path / "configuration"; }
    /// The one that the last restored backup replaced.
    std::filesystem::path ReplacedFile() const { return m_path / "configuration.before-restore"; }
    std::filesystem::path ActivityFile() const { return m_path / "activity.db"; }
    std::filesystem::path TokenFile() const { return m_path / "api-token"; }

private:
    std::filesystem::path m_path;
    int m_lock = -1;
};

} // namespace devhost
