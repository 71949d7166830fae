#include "Certificates.h"
#include "ClientFixture.h"
#include "TemporaryDirectory.h"
#include "TrustedAuthority.h"

namespace {

/// A bus with a certificate from an authority that the process trusts.
struct TrustedBus {
    TrustedBus() {
        const auto certificate = authority.issue("bus");
        options.tlsCertificateFile = certificate.certificateFile;
        options.tlsKeyFile = certificate.keyFile;
    }

    const test_support::TemporaryDirectory directory;
    const test_support::CertificationAuthority authority{directory.path(), "authority"};
    const test_support::TrustedAuthority trusted{authority.certificateFile()};
    zebbussim::BusSimulator::Options options;
};

class TlsClient : private TrustedBus, public e2e::ClientFixture {
 protected:
    TlsClient() : ClientFixture(options) {}
};

TEST_F(TlsClient, FollowsTheClampOverHttpsAndWss) {
    ASSERT_EQ(bus.baseUri().rfind("https://", 0), 0U);
    subscribeClient();
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
    client->Stop();
}

}  // namespace
