// Checks the certificate authority in memory and in its folder.
#include "cloudsim/server/CertificateAuthority.h"

#include "cloudsim/server/StateFolder.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace cloudsim::test
{
namespace
{

const std::vector<std::string> kNames = {"oauth.vestara.example", "api.vestara.example", "127.0.0.1"};

TEST(StateFolderTest, KeepsTheAuthorityAndHidesTheKeys)
{
    std::string pattern = testing::TempDir() + "cloudsim-XXXXXX";
    const std::filesystem::path parent = mkdtemp(pattern.data()), folder = parent / "new";
    const auto mode = [&](const char* name) { return std::filesystem::status(folder / name).permissions(); };
    const ServerIdentity first = LoadOrCreateIdentity(folder, kNames);
    const ServerIdentity second = LoadOrCreateIdentity(folder, kNames);
    EXPECT_EQ(second.authorityPem, first.authorityPem);
    EXPECT_EQ(second.server.certificatePem, first.server.certificatePem);
    EXPECT_EQ(ReadFile(first.authorityFile), first.authorityPem);
    EXPECT_EQ(mode("ca-key.pem"), std::filesystem::perms(0600));
    EXPECT_EQ(mode("server-key.pem"), std::filesystem::perms(0600));

    const auto other = CertificateAuthority::Create("other");
    EXPECT_TRUE(IsUsableFor(first.server.certificatePem, kNames, first.authorityPem));
    EXPECT_FALSE(IsUsableFor(first.server.certificatePem, kNames, other.CertificatePem()));
    EXPECT_THROW(CertificateAuthority::Load({first.authorityPem, other.Own().keyPem}), std::runtime_error);
    const ServerIdentity renamed = LoadOrCreateIdentity(folder, {"a.example", "b.example"});
    EXPECT_EQ(renamed.authorityPem, first.authorityPem);
    EXPECT_NE(renamed.server.certificatePem, first.server.certificatePem);

    std::filesystem::permissions(folder / "ca-key.pem", std::filesystem::perms(0666));
    WritePrivateFile(folder / "ca-key.pem", "broken");
    EXPECT_EQ(mode("ca-key.pem"), std::filesystem::perms(0600));
    try {
        LoadOrCreateIdentity(folder, kNames);
        ADD_FAILURE() << "was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("ca.pem"), std::string::npos) << error.what();
    }
    EXPECT_EQ(ReadFile(folder / "ca-key.pem"), "broken");
    EXPECT_THROW(WritePrivateFile(folder / "no" / "such", "x"), std::runtime_error);
    std::filesystem::remove_all(parent);
}

} // namespace
} // namespace cloudsim::test
