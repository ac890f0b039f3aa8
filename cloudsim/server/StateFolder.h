#pragma once

#include "cloudsim/server/CertificateAuthority.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace cloudsim
{

// The authority and the server's certificate, with the file that clients trust.
struct ServerIdentity {
    Identity server;
    std::string authorityPem;
    std::filesystem::path authorityFile; // empty when nothing is on disk
};

// Reads ca.pem, ca-key.pem, server.pem and server-key.pem from the folder. What is missing is made: the
// folder and the authority on the first run, the server's certificate also when its names changed or its term
// ends soon. Keys have mode 0600. Throws std::runtime_error, naming the file, when one cannot be read, used
// or written; a broken authority is never replaced silently, since clients trust it.
ServerIdentity LoadOrCreateIdentity(const std::filesystem::path& folder,
                                    const std::vector<std::string>& names);

// The same in memory, with a new authority.
ServerIdentity MakeIdentity(const std::vector<std::string>& names);

// Reads a whole file. Throws std::runtime_error that names it.
std::string ReadFile(const std::filesystem::path& path);

// Writes a file of mode 0600 so that there is never half of one: a new file, then a rename. Throws
// std::runtime_error that names it.
void WritePrivateFile(const std::filesystem::path& path, std::string_view content);

} // namespace cloudsim
