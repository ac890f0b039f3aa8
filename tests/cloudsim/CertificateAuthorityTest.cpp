// Checks the certificate authority in memory and in its folder.
#include "cloudsim/server/CertificateAuthority.h"

#include "cloudsim/server/StateFolder.h"
#include "tests/cloudsim/CloudTest.h"

#include <fstream>

namespace cloudsim::test
{

const std::vector<std::string> kNames = {"first.example", "second.example", "127.0.0.1"};

TEST(StateFolderTest, KeepsTheAuthorityAndHidesTheKeys)
{
    std::string parent = testing::TempDir() + "cloudsim-XXXXXX";
    ASSERT_TRUE(mkdtemp(parent.data()));
    const std::filesystem::path folder = std::filesystem::path(parent) / "new";
    const auto mode = [&](const char* name) { return std::filesystem::status(folder / name).permissions(); };
    const ServerIdentity first = LoadOrCreateIdentity(folder, kNames);
    EXPECT_EQ(LoadOrCreateIdentity(folder, kNames).server.certificatePem, first.server.certificatePem);
    EXPECT_EQ(ReadFile(first.authorityFile), first.authorityPem);
    EXPECT_EQ(mode("server-key.pem"), std::filesystem::perms(0600));

    const auto other = CertificateAuthority::Create("other");
    EXPECT_FALSE(IsUsableFor(first.server.certificatePem, kNames, other.CertificatePem()));
    EXPECT_THROW(CertificateAuthority::Load({first.authorityPem, other.Own().keyPem}), std::runtime_error);
    const ServerIdentity renamed = LoadOrCreateIdentity(folder, {"a.example", "b.example"});
    EXPECT_EQ(renamed.authorityPem, first.authorityPem);
    EXPECT_TRUE(IsUsableFor(renamed.server.certificatePem, {"a.example", "b.example"}, first.authorityPem));

    std::ofstream(folder / "ca-key.pem.new") << "left behind, for all to read";
    WritePrivateFile(folder / "ca-key.pem", "broken");
    EXPECT_EQ(mode("ca-key.pem"), std::filesystem::perms(0600));
    EXPECT_THAT([&] { LoadOrCreateIdentity(folder, kNames); },
                testing::ThrowsMessage<std::runtime_error>(HasSubstr("ca.pem")));
    EXPECT_EQ(ReadFile(folder / "ca-key.pem"), "broken");
    std::filesystem::remove_all(parent);
}

} // namespace cloudsim::test
