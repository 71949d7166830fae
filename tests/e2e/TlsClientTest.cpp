#include <cstdlib>

#include "Certificates.h"
#include "ClientFixture.h"
#include "TemporaryDirectory.h"

namespace {

/// A bus with a certificate from an authority that the process trusts.
struct TrustedBus {
    TrustedBus() {
        const auto certificate = authority.issue("bus");
        options.tlsCertificateFile = certificate.certificateFile;
        options.tlsKeyFile = certificate.keyFile;
        setenv("SSL_CERT_FILE", authority.certificateFile().c_str(), 1);
    }

    const test_support::TemporaryDirectory directory;
    const test_support::CertificationAuthority authority{directory.path(), "authority"};
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
