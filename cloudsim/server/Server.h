#pragma once

#include "cloudsim/model/Cloud.h"
#include "cloudsim/server/StateFolder.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cloudsim
{

struct ServerOptions {
    Options cloud;
    std::uint16_t httpsPort = 0; // 0 takes a free one
    std::uint16_t adminPort = 0;
    // Where POST /admin/save puts its files; the working folder when empty.
    std::filesystem::path saveFolder;
};

// The names that the server's certificate must bear: both cloud hosts, and the loopback names for browsers.
std::vector<std::string> CertificateNames(const Options& options);

// Serves a Cloud on two loopback ports: HTTPS for controllers and browsers, plain HTTP for the admin routes.
// All work is done on one thread of its own. The public operations may be called from any other thread.
class Server
{
public:
    // Binds both ports and starts serving. Throws std::runtime_error when a port or the certificate cannot be
    // used.
    Server(ServerOptions options, World world, const ServerIdentity& identity);
    // Closes all connections and joins the thread.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t HttpsPort() const;
    std::uint16_t AdminPort() const;
    // "https://127.0.0.1:PORT", where a browser reaches the authorize page.
    std::string AuthorizeBase() const;
    // What the cloud was started with, its host names above all. Never changes.
    const Options& CloudOptions() const;

    // Runs the function on the server's thread and waits for it. The reference must not be kept.
    void WithCloud(const std::function<void(Cloud&)>& use);

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace cloudsim
