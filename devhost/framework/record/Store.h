#pragma once
// Where the configuration is kept: a file, or memory.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace devhost
{

/// Keeps one configuration text. Host thread.
class Store
{
public:
    virtual ~Store() = default;
    /// The stored text; nothing when none was stored yet.
    /// @throws std::runtime_error when there is one that cannot be read: going on would overwrite it.
    virtual std::optional<std::string> Load() = 0;
    /// Replaces the stored text as a whole: afterwards either the new or the old one is there.
    /// @return what went wrong, empty on success.
    virtual std::string Save(std::string_view text) = 0;
    /// Keeps the stored text beside, under a name that no other text has. The stored one stays as well.
    /// @return what went wrong, empty on success.
    virtual std::string KeepAside() = 0;
    /// Names of the texts that are kept beside, of earlier runs too, by their numbers.
    virtual std::vector<std::string> KeptAside() const = 0;
};

/// One file, readable by its owner only, because its records hold tokens and PINs.
class FileStore : public Store
{
public:
    /// The folder must exist. @param path of the file, which need not exist.
    explicit FileStore(std::filesystem::path path) : m_path(std::move(path)) {}
    std::optional<std::string> Load() override;
    /// Writes a new file in the same folder, flushes it to the disk, and renames it over the old one.
    std::string Save(std::string_view text) override;
    /// Gives the file a second name that ends in ".damaged-1" or the next free number.
    std::string KeepAside() override;
    std::vector<std::string> KeptAside() const override;

private:
    std::filesystem::path m_path;
};

/// A text in memory, for tests.
class MemoryStore : public Store
{
public:
    std::optional<std::string> Load() override { return text; }
    std::string Save(std::string_view newText) override;
    std::string KeepAside() override;
    std::vector<std::string> KeptAside() const override;

    std::optional<std::string> text;
    std::vector<std::string> aside;
    std::string nextError; ///< when not empty, the result of every save
    int saves = 0;
};

} // namespace devhost
