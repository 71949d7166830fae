#include <Certificates.h>
#include <TemporaryDirectory.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tls/TlsContexts.h"

namespace {

using zebutil::TlsContexts;

/// A system whose authorities are the files of one directory, one of them damaged.
class TlsContextsWithADamagedFile : public testing::Test {
 protected:
    TlsContextsWithADamagedFile() {
        std::filesystem::copy(authority.certificateFile(), directory.path() / "11111111.0");
        damage("AAAA");
        files.directories = {{"", directory.path()}};
    }

    void damage(const std::string& content) const {
        std::ofstream(damaged) << "-----BEGIN CERTIFICATE-----\n"
                               << content << "\n-----END CERTIFICATE-----\n";
    }

    const test_support::TemporaryDirectory directory;
    const test_support::CertificationAuthority authority{directory.path(), "authority"};
    const std::string damaged = directory.path() / "22222222.0";
    zebutil::TlsFiles files;
    TlsContexts sut;
};

TEST_F(TlsContextsWithADamagedFile, DoWithoutIt) {
    EXPECT_NE(sut.get(files), nullptr);
}

TEST_F(TlsContextsWithADamagedFile, ReadTheOthersOnlyOnce) {
    const auto first = sut.get(files);
    EXPECT_EQ(sut.get(files).get(), first.get());
}

TEST_F(TlsContextsWithADamagedFile, TellIt) {
    sut.get(files);
    const auto told = sut.takeLeftOut();
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told.front().find("\"" + damaged + "\": certificate 1 in it is damaged: "), 0U) << told.front();
}

TEST_F(TlsContextsWithADamagedFile, TellItOnce) {
    sut.get(files);
    sut.takeLeftOut();
    // Another file has changed, so all are read again.
    std::filesystem::copy(authority.certificateFile(), directory.path() / "33333333.0");
    sut.get(files);
    EXPECT_TRUE(sut.takeLeftOut().empty());
}

TEST_F(TlsContextsWithADamagedFile, TellItAgainWhenItChanges) {
    sut.get(files);
    sut.takeLeftOut();
    damage("AAAAAAAA");
    sut.get(files);
    EXPECT_EQ(sut.takeLeftOut().size(), 1U);
}

TEST_F(TlsContextsWithADamagedFile, ReadItAgainWhenItChanges) {
    const auto first = sut.get(files);
    std::filesystem::remove(damaged);
    std::filesystem::copy(authority.certificateFile(), damaged);
    EXPECT_NE(sut.get(files).get(), first.get());
}

TEST_F(TlsContextsWithADamagedFile, RefuseItIfTheDirectoryIsNamed) {
    files.directories.front().variable = "VARIABLE";
    EXPECT_THROW(sut.get(files), std::runtime_error);
}

}  // namespace
