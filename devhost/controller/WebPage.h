#pragma once
// The configurator's page: files that were built from web/.

#include "devhost/controller/Api.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace devhost
{

/// The files of the page, held in memory: no request reaches the file system. Made once, then read by any
/// thread.
class WebPage
{
public:
    static constexpr std::size_t kMaxFiles = 64;
    static constexpr std::size_t kMaxBytes = std::size_t{8} * 1024 * 1024;

    /// Reads index.html and what is in assets/. Beside a file NAME may lie NAME.gz, the same compressed.
    /// @param folder empty: the page is not there, and who asks for it is told how to get it.
    /// @throws std::runtime_error when the folder has no index.html, a file of unknown kind, or too much.
    explicit WebPage(const std::filesystem::path& folder);

    /// Where the page lies when nobody says: ../share/vestara/configurator, from the folder of this program;
    /// empty when it is not there.
    static std::filesystem::path DefaultFolder();

    /// @return nothing when the request is for something else than the page.
    std::optional<ApiResponse> Serve(const ApiRequest& request) const;

private:
    struct File {
        std::string contentType;
        std::string plain;
        std::string gzip; // empty: there is none
    };
    std::size_t Read(const std::filesystem::path& path, const std::string& address);

    std::map<std::string, File> m_files; // by address: "/", "/assets/NAME"
};

} // namespace devhost
