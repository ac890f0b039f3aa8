// Makes and checks certificates through OpenSSL; files and their modes are left to StateFolder.cpp.
#include "cloudsim/server/CertificateAuthority.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <set>
#include <stdexcept>
#include <utility>

namespace cloudsim
{
namespace
{

template <auto Free>
struct Releaser {
    template <typename Object>
    void operator()(Object* object) const
    {
        Free(object);
    }
};

using BioPointer = std::unique_ptr<BIO, Releaser<BIO_free_all>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using CertificatePointer = std::unique_ptr<X509, Releaser<X509_free>>;
using ExtensionPointer = std::unique_ptr<X509_EXTENSION, Releaser<X509_EXTENSION_free>>;
using NamesPointer = std::unique_ptr<GENERAL_NAMES, Releaser<GENERAL_NAMES_free>>;

constexpr long kSecondsPerDay = 24L * 60 * 60;
constexpr long kAuthorityDays = 3650;
constexpr long kServerDays = 825;
constexpr long kRenewDays = 30;

// Throws unless an OpenSSL call succeeded.
void Require(bool succeeded, const char* what)
{
    if (succeeded)
        return;
    char reason[256] = "no reason given";
    if (const unsigned long code = ERR_get_error())
        ERR_error_string_n(code, reason, sizeof reason);
    ERR_clear_error();
    throw std::runtime_error(std::string("cannot ") + what + ": " + reason);
}

std::string BioText(BIO* bio)
{
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(size)};
}

Identity ToPem(X509* certificate, EVP_PKEY* key)
{
    const BioPointer certificateBio(BIO_new(BIO_s_mem())), keyBio(BIO_new(BIO_s_mem()));
    Require(PEM_write_bio_X509(certificateBio.get(), certificate) == 1, "write a certificate");
    Require(PEM_write_bio_PrivateKey(keyBio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
            "write a private key");
    return {BioText(certificateBio.get()), BioText(keyBio.get())};
}

CertificatePointer ReadCertificate(const std::string& pem)
{
    const BioPointer bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    CertificatePointer certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    Require(certificate != nullptr, "read a certificate");
    return certificate;
}

KeyPointer ReadKey(const std::string& pem)
{
    const BioPointer bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    KeyPointer key(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
    Require(key != nullptr, "read a private key");
    return key;
}

KeyPointer MakeKey()
{
    KeyPointer key(EVP_EC_gen("P-256"));
    Require(key != nullptr, "make a key");
    return key;
}

void SetRandomSerial(X509* certificate)
{
    unsigned char bytes[16];
    Require(RAND_bytes(bytes, sizeof bytes) == 1, "draw a serial number");
    bytes[0] &= 0x7f; // RFC 5280 section 4.1.2.2: a serial number is positive
    BIGNUM* number = BN_bin2bn(bytes, sizeof bytes, nullptr);
    const bool set = number && BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate));
    BN_free(number);
    Require(set, "set a serial number");
}

void AddExtension(X509* certificate, X509* issuer, int nid, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const ExtensionPointer extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
    Require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "add a certificate extension");
}

// A certificate with key, serial, subject and term, still without issuer, extensions and signature.
CertificatePointer StartCertificate(EVP_PKEY* key, const std::string& commonName, long days)
{
    CertificatePointer certificate(X509_new());
    Require(certificate && X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
                X509_set_pubkey(certificate.get(), key) == 1,
            "start a certificate");
    SetRandomSerial(certificate.get());
    // The clocks of two machines may differ a little, so the term starts an hour ago.
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), days * kSecondsPerDay);
    const auto* text = reinterpret_cast<const unsigned char*>(commonName.c_str());
    Require(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8, text,
                                       -1, -1, 0) == 1,
            "name a certificate");
    return certificate;
}

void Sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey)
{
    Require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1 &&
                X509_sign(certificate, issuerKey, EVP_sha256()) != 0,
            "sign a certificate");
}

bool IsAddress(const std::string& name)
{
    return name.find_first_not_of("0123456789.") == std::string::npos;
}

std::string AlternativeNames(const std::vector<std::string>& names)
{
    std::string list;
    for (const std::string& name : names) {
        if (!list.empty())
            list += ',';
        list += IsAddress(name) ? "IP:" : "DNS:";
        list += name;
    }
    return list;
}

// The alternative names of a certificate as text, addresses in dotted form.
std::set<std::string> ReadNames(X509* certificate)
{
    const NamesPointer list(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    std::set<std::string> names;
    for (int i = 0; i < sk_GENERAL_NAME_num(list.get()); ++i) {
        int type = 0;
        const auto* value =
            static_cast<ASN1_STRING*>(GENERAL_NAME_get0_value(sk_GENERAL_NAME_value(list.get(), i), &type));
        const unsigned char* data = ASN1_STRING_get0_data(value);
        const int size = ASN1_STRING_length(value);
        if (type == GEN_DNS)
            names.emplace(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
        else if (type == GEN_IPADD && size == 4)
            names.insert(std::to_string(data[0]) + "." + std::to_string(data[1]) + "." +
                         std::to_string(data[2]) + "." + std::to_string(data[3]));
    }
    return names;
}

} // namespace

CertificateAuthority CertificateAuthority::Create(const std::string& commonName)
{
    const KeyPointer key = MakeKey();
    const CertificatePointer certificate = StartCertificate(key.get(), commonName, kAuthorityDays);
    AddExtension(certificate.get(), certificate.get(), NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    AddExtension(certificate.get(), certificate.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    AddExtension(certificate.get(), certificate.get(), NID_subject_key_identifier, "hash");
    Sign(certificate.get(), certificate.get(), key.get());
    return CertificateAuthority(ToPem(certificate.get(), key.get()));
}

CertificateAuthority CertificateAuthority::Load(const Identity& identity)
{
    const CertificatePointer certificate = ReadCertificate(identity.certificatePem);
    const KeyPointer key = ReadKey(identity.keyPem);
    Require(X509_check_private_key(certificate.get(), key.get()) == 1,
            "use the authority's key with its certificate");
    return CertificateAuthority(identity);
}

Identity CertificateAuthority::Issue(const std::vector<std::string>& names) const
{
    const CertificatePointer issuer = ReadCertificate(m_identity.certificatePem);
    const KeyPointer issuerKey = ReadKey(m_identity.keyPem);
    const KeyPointer key = MakeKey();
    const CertificatePointer certificate = StartCertificate(key.get(), names.at(0), kServerDays);
    AddExtension(certificate.get(), issuer.get(), NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(certificate.get(), issuer.get(), NID_key_usage, "critical,digitalSignature");
    AddExtension(certificate.get(), issuer.get(), NID_ext_key_usage, "serverAuth");
    AddExtension(certificate.get(), issuer.get(), NID_subject_key_identifier, "hash");
    AddExtension(certificate.get(), issuer.get(), NID_authority_key_identifier, "keyid:always");
    AddExtension(certificate.get(), issuer.get(), NID_subject_alt_name, AlternativeNames(names));
    Sign(certificate.get(), issuer.get(), issuerKey.get());
    return ToPem(certificate.get(), key.get());
}

bool IsUsableFor(const std::string& certificatePem, const std::vector<std::string>& names,
                 const std::string& authorityPem)
{
    const CertificatePointer certificate = ReadCertificate(certificatePem);
    const CertificatePointer authority = ReadCertificate(authorityPem);
    const bool signedByAuthority = X509_verify(certificate.get(), X509_get0_pubkey(authority.get())) == 1;
    ERR_clear_error();
    time_t renewBefore = time(nullptr) + kRenewDays * kSecondsPerDay;
    const bool lasts = X509_cmp_time(X509_get0_notAfter(certificate.get()), &renewBefore) > 0;
    return signedByAuthority && lasts &&
           ReadNames(certificate.get()) == std::set<std::string>(names.begin(), names.end());
}

} // namespace cloudsim
