// Checks the certificate authority in memory and in its folder.
#include "cloudsim/server/CertificateAuthority.h"

#include "cloudsim/server/StateFolder.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace cloudsim::test
{
namespace
{

using Permissions = std::filesystem::perms;

const std::vector<std::string> kNames = {"oauth.vestara.example", "api.vestara.example", "127.0.0.1"};

class StateFolderTest : public testing::Test
{
protected:
    StateFolderTest()
    {
        std::string pattern = testing::TempDir() + "cloudsim-XXXXXX";
        folder = mkdtemp(pattern.data());
    }
    ~StateFolderTest() override { std::filesystem::remove_all(folder); }

    Permissions Mode(const char* name) const { return std::filesystem::status(folder / name).permissions(); }

    std::filesystem::path folder;
};

TEST(CertificateAuthorityTest, CertificateIsUsableForItsNamesAndAuthorityOnly)
{
    const auto authority = CertificateAuthority::Create("one"), other = CertificateAuthority::Create("two");
    const std::string certificate = authority.Issue(kNames).certificatePem;
    EXPECT_TRUE(IsUsableFor(certificate, kNames, authority.CertificatePem()));
    EXPECT_FALSE(IsUsableFor(certificate, {"other.example"}, authority.CertificatePem()));
    EXPECT_FALSE(IsUsableFor(certificate, kNames, other.CertificatePem()));
    EXPECT_THROW(CertificateAuthority::Load({authority.CertificatePem(), other.Own().keyPem}),
                 std::runtime_error);
}

TEST_F(StateFolderTest, KeepsTheAuthorityAndHidesTheKeys)
{
    const ServerIdentity first = LoadOrCreateIdentity(folder / "new", kNames);
    const ServerIdentity second = LoadOrCreateIdentity(folder / "new", kNames);
    EXPECT_EQ(second.authorityPem, first.authorityPem);
    EXPECT_EQ(second.server.certificatePem, first.server.certificatePem);
    EXPECT_EQ(ReadFile(first.authorityFile), first.authorityPem);
    EXPECT_EQ(Mode("new/ca-key.pem"), Permissions(0600));
    EXPECT_EQ(Mode("new/server-key.pem"), Permissions(0600));

    const ServerIdentity renamed = LoadOrCreateIdentity(folder / "new", {"a.example", "b.example"});
    EXPECT_EQ(renamed.authorityPem, first.authorityPem);
    EXPECT_NE(renamed.server.certificatePem, first.server.certificatePem);

    WritePrivateFile(folder / "new/ca-key.pem", "broken");
    try {
        LoadOrCreateIdentity(folder / "new", kNames);
        ADD_FAILURE() << "was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("ca.pem"), std::string::npos) << error.what();
    }
    EXPECT_EQ(ReadFile(folder / "new/ca-key.pem"), "broken");
}

TEST_F(StateFolderTest, WritingReplacesAWiderFileByAPrivateOne)
{
    WritePrivateFile(folder / "world.json", "old");
    std::filesystem::permissions(folder / "world.json", Permissions(0666));
    WritePrivateFile(folder / "world.json", "new");
    EXPECT_EQ(ReadFile(folder / "world.json"), "new");
    EXPECT_EQ(Mode("world.json"), Permissions(0600));
    EXPECT_THROW(WritePrivateFile(folder / "no" / "such", "x"), std::runtime_error);
}

} // namespace
} // namespace cloudsim::test
