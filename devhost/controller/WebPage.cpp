// Reads the page's files once and answers requests for them.

#include "devhost/controller/WebPage.h"

#include "devhost/controller/RequestGuard.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace devhost
{

namespace
{

// Scripts and styles from here only, nothing inline, so that a name from the cloud that got into the page as
// markup would run nothing. The page is in no frame and sends no form.
constexpr const char* kPagePolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'";

constexpr const char* kHtmlType = "text/html; charset=utf-8";

const std::map<std::string, const char*>& ContentTypes()
{
    static const std::map<std::string, const char*> types = {{".html", kHtmlType},
                                                             {".js", "text/javascript; charset=utf-8"},
                                                             {".css", "text/css; charset=utf-8"},
                                                             {".svg", "image/svg+xml"}};
    return types;
}

std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file)
        throw std::runtime_error("--web-dir: " + path.string() + " cannot be read");
    return text;
}

} // namespace

std::filesystem::path WebPage::DefaultFolder()
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto folder = program.parent_path().parent_path() / "share/vestara/configurator";
    return !error && std::filesystem::exists(folder / "index.html", error) ? folder : std::filesystem::path();
}

WebPage::WebPage(const std::filesystem::path& folder)
{
    if (folder.empty())
        return;
    if (!std::filesystem::is_regular_file(folder / "index.html"))
        throw std::runtime_error("--web-dir " + folder.string() + ": there is no index.html in it");
    std::size_t byteCount = Read(folder / "index.html", "/");
    if (std::filesystem::is_directory(folder / "assets")) {
        for (const auto& entry : std::filesystem::directory_iterator(folder / "assets")) {
            if (entry.path().extension() != ".gz")
                byteCount += Read(entry.path(), kAssetsPath + entry.path().filename().string());
            if (byteCount > kMaxBytes || m_files.size() > kMaxFiles)
                throw std::runtime_error("--web-dir " + folder.string() + ": more than " +
                                         std::to_string(kMaxFiles) + " files or " +
                                         std::to_string(kMaxBytes >> 20) + " MiB are no page");
        }
    }
}

std::size_t WebPage::Read(const std::filesystem::path& path, const std::string& address)
{
    const auto type = ContentTypes().find(path.extension().string());
    if (type == ContentTypes().end())
        throw std::runtime_error("--web-dir: " + path.string() + " is no file of a page");
    std::filesystem::path compressed = path;
    compressed += ".gz";
    File& file = m_files[address];
    file.contentType = type->second;
    file.plain = ReadFile(path);
    if (std::filesystem::exists(compressed))
        file.gzip = ReadFile(compressed);
    return file.plain.size() + file.gzip.size();
}

std::optional<ApiResponse> WebPage::Serve(const ApiRequest& request) const
{
    const bool isPage = request.path == "/";
    if (!isPage && !request.path.starts_with(kAssetsPath))
        return std::nullopt;
    if (request.method != "GET")
        return MethodNotAllowed(request.path, "GET");
    const auto found = m_files.find(request.path);
    if (found == m_files.end() && !isPage)
        return ErrorResponse(404, "not_found", "there is nothing at " + request.path);

    ApiResponse response;
    if (found == m_files.end()) {
        response.status = 404;
        response.contentType = kHtmlType;
        response.body = "<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>No page</title>"
                        "<h1>The configurator's page is not here</h1><p>Build it with <code>scripts/build "
                        "release</code>, or name its folder with <code>--web-dir</code>. The API is there "
                        "without it.</p></html>\n";
        return response;
    }
    const File& file = found->second;
    response.contentType = file.contentType;
    response.contentSecurityPolicy = kPagePolicy;
    // The names of assets stand for their contents; the page that names them is asked for each time.
    response.cacheControl = isPage ? "no-cache" : "public, max-age=31536000, immutable";
    response.variesByEncoding = !file.gzip.empty();
    response.gzip = request.acceptsGzip && response.variesByEncoding;
    response.body = response.gzip ? file.gzip : file.plain;
    return response;
}

} // namespace devhost
