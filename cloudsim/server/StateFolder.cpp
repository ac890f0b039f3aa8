// Keeps the certificate authority and saved worlds on disk; making certificates is left to
// CertificateAuthority.cpp.
#include "cloudsim/server/StateFolder.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace cloudsim
{
namespace
{

constexpr const char* kAuthorityName = "Vestara cloud simulator CA";

[[noreturn]] void Fail(const std::string& what, const std::filesystem::path& path)
{
    throw std::runtime_error("cannot " + what + " " + path.string() + ": " + std::strerror(errno));
}

bool WriteAll(int descriptor, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(descriptor, content.data(), content.size());
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0)
            content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

void SaveIdentity(const std::filesystem::path& folder, const std::string& name, const Identity& identity)
{
    WritePrivateFile(folder / (name + "-key.pem"), identity.keyPem);
    const std::filesystem::path certificateFile = folder / (name + ".pem");
    WritePrivateFile(certificateFile, identity.certificatePem);
    // A certificate is public: clients that run as somebody else read it too.
    if (chmod(certificateFile.c_str(), 0644) != 0)
        Fail("set the mode of", certificateFile);
}

Identity ReadIdentity(const std::filesystem::path& folder, const std::string& name)
{
    return {ReadFile(folder / (name + ".pem")), ReadFile(folder / (name + "-key.pem"))};
}

CertificateAuthority LoadOrCreateAuthority(const std::filesystem::path& folder)
{
    if (!std::filesystem::exists(folder / "ca.pem")) {
        auto authority = CertificateAuthority::Create(kAuthorityName);
        SaveIdentity(folder, "ca", authority.Own());
        return authority;
    }
    try {
        return CertificateAuthority::Load(ReadIdentity(folder, "ca"));
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(
            (folder / "ca.pem").string() + " cannot be used (" + error.what() +
            "); give another --state-dir, or remove ca.pem and ca-key.pem to have a new authority made");
    }
}

// The server's stored certificate when it can still be used, otherwise a new one.
Identity LoadOrIssue(const std::filesystem::path& folder, const CertificateAuthority& authority,
                     const std::vector<std::string>& names)
{
    try {
        Identity stored = CertificateAuthority::Load(ReadIdentity(folder, "server")).Own();
        if (IsUsableFor(stored.certificatePem, names, authority.CertificatePem()))
            return stored;
    } catch (const std::runtime_error&) {
        // A server certificate that is missing or broken costs nobody anything: the authority issues another.
    }
    Identity issued = authority.Issue(names);
    SaveIdentity(folder, "server", issued);
    return issued;
}

} // namespace

std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        Fail("open", path);
    std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (file.bad())
        Fail("read", path);
    return content;
}

void WritePrivateFile(const std::filesystem::path& path, std::string_view content)
{
    std::filesystem::path fresh = path;
    fresh += ".new";
    // An older file of that name may have a wider mode, which open would keep.
    unlink(fresh.c_str());
    const int descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0)
        Fail("create", fresh);
    const bool written = WriteAll(descriptor, content) && fsync(descriptor) == 0;
    if (close(descriptor) != 0 || !written)
        Fail("write", fresh);
    if (rename(fresh.c_str(), path.c_str()) != 0)
        Fail("replace", path);
}

ServerIdentity LoadOrCreateIdentity(const std::filesystem::path& folder,
                                    const std::vector<std::string>& names)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw std::runtime_error("--state-dir " + folder.string() + " cannot be used: " + error.message() +
                                 "; give another folder");
    const CertificateAuthority authority = LoadOrCreateAuthority(folder);
    return {LoadOrIssue(folder, authority, names), authority.CertificatePem(),
            std::filesystem::absolute(folder / "ca.pem")};
}

ServerIdentity MakeIdentity(const std::vector<std::string>& names)
{
    auto authority = CertificateAuthority::Create(kAuthorityName);
    return {authority.Issue(names), authority.CertificatePem(), {}};
}

} // namespace cloudsim
