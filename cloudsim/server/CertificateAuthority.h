#pragma once

#include <memory>
#include <string>
#include <vector>

namespace cloudsim
{

// A certificate with its private key, both as PEM text.
struct Identity {
    std::string certificatePem;
    std::string keyPem;
};

// A small certificate authority on EC P-256 keys. It lives in memory; StateFolder keeps one on disk. Every
// operation throws std::runtime_error with OpenSSL's reason when something cannot be made or read.
class CertificateAuthority
{
public:
    // Makes a new authority that is valid for ten years.
    static CertificateAuthority Create(const std::string& commonName);

    // Takes an authority back from its PEM texts. Throws when they do not belong together.
    static CertificateAuthority Load(const Identity& identity);

    // Issues a server certificate that is valid for 825 days. Names that are IPv4 addresses become address
    // entries of the subject's alternative names, all others DNS names (RFC 5280 section 4.2.1.6). names must
    // not be empty.
    Identity Issue(const std::vector<std::string>& names) const;

    const Identity& Own() const { return m_identity; }
    const std::string& CertificatePem() const { return m_identity.certificatePem; }

private:
    explicit CertificateAuthority(Identity identity) : m_identity(std::move(identity)) {}

    Identity m_identity;
};

// True when the certificate was issued by the authority, lists exactly these names and is valid for another
// 30 days.
bool IsUsableFor(const std::string& certificatePem, const std::vector<std::string>& names,
                 const std::string& authorityPem);

} // namespace cloudsim
