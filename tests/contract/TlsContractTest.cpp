// The bus over TLS: what a certificate must be like, and what is reported otherwise. Every test creates its
// own certificates and trusts only its own authority. Numbers are those of the promises in
// docs/platform-contract.md.

#include <Certificates.h>
#include <PlatformFixture.h>
#include <TemporaryDirectory.h>
#include <openssl/ssl.h>
#include <zebutil/PocoHttpSessionFactory.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <thread>

namespace {

using test_support::Certificate;
using test_support::CertificationAuthority;
using test_support::kLimit;
using test_support::Lamp;
using test_support::LampDescriptor;

class TlsContract : public test_support::PlatformFixture {
 protected:
    TlsContract() { setenv("SSL_CERT_FILE", authority.certificateFile().c_str(), 1); }

    void TearDown() override {
        PlatformFixture::TearDown();
        unsetenv("SSL_CERT_FILE");
    }

    // Without a certificate there is no TLS.
    void serve(const std::optional<Certificate>& certificate, std::uint16_t port = 0) {
        server.reset();
        zebbussim::BusSimulator::Options options;
        options.port = port;
        if (certificate) {
            options.tlsCertificateFile = certificate->certificateFile;
            options.tlsKeyFile = certificate->keyFile;
        }
        server = std::make_unique<zebbussim::BusSimulator>(options);
        server->loadText(R"({"services":{"Lighting":{"lamps":[{"id":"1","name":"left","level":10}]}}})");
        server->start();
        configuration->moveTo(server->baseUri());
    }

    void begin() {
        createRegistry();
        listen();
    }

    // The result of a request: the id of the element, or the reason for the failure.
    struct Outcome {
        std::string id;
        std::string failure;
    };
    Outcome findFirst() {
        test_support::Received<Outcome> outcomes;
        const auto access = zeb::HttpAccessFactory(std::make_shared<zebutil::PocoHttpSessionFactory>())
                                .createAccess({"Lighting", configuration->known.serverBaseUri, "/", ""});
        zeb::ZebAccessor accessor(access, httpExecutor, zebExecutor, loggers->createLogger("accessor"));
        accessor.findFirst<Lamp>(
            LampDescriptor(),
            [&](const std::shared_ptr<const Lamp>& lamp, const auto&) {
                outcomes.push({lamp ? lamp->getId().getValue() : "none", ""});
            },
            [&](const std::shared_ptr<const zeb::ZebResponse>& response) {
                const auto exception = response->getHttpException();
                outcomes.push({"", exception ? exception->what() : "no reason"});
            });
        return outcomes.next().value_or(Outcome{"", "no handler was called"});
    }

    const test_support::TemporaryDirectory directory;
    const CertificationAuthority authority{directory.path(), "authority"};
    std::unique_ptr<zebbussim::BusSimulator> server;
};

// P11
TEST_F(TlsContract, ConnectsToAServerWithAGoodCertificate) {
    serve(authority.issue("server"));
    begin();
    EXPECT_EQ(states.next(), "connected");
}

// P21
TEST_F(TlsContract, FindsOverHttps) {
    serve(authority.issue("server"));
    EXPECT_EQ(findFirst().id, "1");
}

// P26
TEST_F(TlsContract, SubscribesOverWss) {
    serve(authority.issue("server"));
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    server->set("/Lighting/lamps/1", R"({"level":11})");
    EXPECT_EQ(levels.next(), 11);
}

// P26
TEST_F(TlsContract, TakesMessagesOfAnySizeOverWss) {
    serve(authority.issue("server"));
    server->set("/Lighting/lamps/1", R"({"text":")" + std::string(900'000, 'x') + "\"}");
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
}

// P17
TEST_F(TlsContract, FindsServicesInARegistryOverTls) {
    serve(authority.issue("server"));
    zeb::ZebServiceRegistry::Settings settings;
    settings.mode = Mode::DynamicOnly;
    settings.httpUri = server->baseUri();
    registry = std::make_shared<zeb::ZebServiceRegistry>(
        websockets, configuration, loggers,
        std::make_shared<zeb::HttpAccessFactory>(std::make_shared<zebutil::PocoHttpSessionFactory>()),
        zebExecutor, httpExecutor, settings, serviceSettings);
    listen();
    ASSERT_EQ(states.next(), "connected");
    EXPECT_TRUE(log->contains("service \"Lighting\" connected at https://"));
}

// P11
TEST_F(TlsContract, KnowsAServerByItsNameToo) {
    serve(authority.issue("server", "DNS:localhost"));
    configuration->known.serverBaseUri = "https://localhost:" + std::to_string(server->port());
    EXPECT_EQ(findFirst().id, "1");
    begin();
    EXPECT_EQ(states.next(), "connected");
}

// P12
TEST_F(TlsContract, TellsALossAndConnectsAgain) {
    serve(authority.issue("server"));
    connect();
    server->dropConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
}

// P11
TEST_F(TlsContract, HearsTheCloseCodeOfTheServer) {
    serve(authority.issue("server"));
    connect();
    server->closeConnections("Lighting", 1011);
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_TRUE(log->contains("closed by the server with code 1011"));
}

// ---------------------------------------------------------------------------------------- bad certificates

struct BadCertificate {
    std::string name;
    Certificate (*make)(const std::filesystem::path& directory, const CertificationAuthority& authority);
    std::string reason;
    std::string host = "127.0.0.1";
};

void PrintTo(const BadCertificate& certificate, std::ostream* stream) {
    *stream << certificate.name;
}

class BadCertificateContract : public TlsContract, public testing::WithParamInterface<BadCertificate> {
 protected:
    BadCertificateContract() {
        serve(GetParam().make(directory.path(), authority));
        configuration->known.serverBaseUri =
            "https://" + GetParam().host + ":" + std::to_string(server->port());
        refusal = "the certificate of \"" + GetParam().host + "\" was refused: " + GetParam().reason;
    }

    // Returns after three attempts to connect.
    void beginAndRetry() {
        begin();
        ASSERT_TRUE(log->waitFor(refusal, kLimit, 3));
        drainExecutor();
    }

    std::string refusal;
};

// P14
TEST_P(BadCertificateContract, IsToldToTheListenerOnceAndIsNoConnection) {
    beginAndRetry();
    EXPECT_EQ(states.next(), "error");
    EXPECT_EQ(states.size(), 0U);
}

// P14
TEST_P(BadCertificateContract, IsLoggedOnceWithHostAndReason) {
    beginAndRetry();
    EXPECT_EQ(log->count("error ServiceRegistry: service \"Lighting\": not reachable at " +
                         configuration->known.serverBaseUri + ": TLS: " + refusal),
              1U);
    EXPECT_EQ(log->count("error "), 1U);
    EXPECT_EQ(log->count("warning "), 0U);
}

// P19
TEST_P(BadCertificateContract, EndsAFindFirstWithAnErrorThatNamesHostAndReason) {
    EXPECT_NE(findFirst().failure.find(refusal), std::string::npos) << findFirst().failure;
}

// P12
TEST_P(BadCertificateContract, IsForgottenOnceTheServerHasAGoodOne) {
    beginAndRetry();
    EXPECT_EQ(states.next(), "error");
    serve(authority.issue("better"), server->port());
    EXPECT_EQ(states.next(), "connected");
}

INSTANTIATE_TEST_SUITE_P(
    Certificates, BadCertificateContract,
    testing::Values(BadCertificate{"OfAnotherAddress",
                                   [](const auto&, const auto& authority) {
                                       return authority.issue("another", "IP:127.0.0.2,DNS:localhost");
                                   },
                                   "IP address mismatch"},
                    BadCertificate{"OfAnotherName",
                                   [](const auto&, const auto& authority) {
                                       return authority.issue("another",
                                                              "IP:127.0.0.1,DNS:elsewhere.example");
                                   },
                                   "hostname mismatch", "localhost"},
                    BadCertificate{"Expired",
                                   [](const auto&, const auto& authority) {
                                       return authority.issue("expired", CertificationAuthority::kThisMachine,
                                                              CertificationAuthority::Validity::Past);
                                   },
                                   "certificate has expired"},
                    BadCertificate{"SelfSigned",
                                   [](const auto& directory, const auto&) {
                                       return CertificationAuthority::selfSigned(directory, "self");
                                   },
                                   "self-signed certificate"},
                    BadCertificate{"OfAnUnknownAuthority",
                                   [](const auto& directory, const auto&) {
                                       return CertificationAuthority(directory, "unknown").issue("server");
                                   },
                                   "unable to get local issuer certificate"}),
    [](const auto& instance) { return instance.param.name; });

// ---------------------------------------------------------------------------------------- bad servers

// Supports no version of TLS above 1.1.
class OldServer {
 public:
    explicit OldServer(const Certificate& certificate) {
        context_.use_certificate_chain_file(certificate.certificateFile);
        context_.use_private_key_file(certificate.keyFile, boost::asio::ssl::context::pem);
        SSL_CTX_set_min_proto_version(context_.native_handle(), TLS1_1_VERSION);
        SSL_CTX_set_max_proto_version(context_.native_handle(), TLS1_1_VERSION);
        SSL_CTX_set_cipher_list(context_.native_handle(), "ALL:@SECLEVEL=0");
        accept();
        thread_ = std::thread([this] { ioContext_.run(); });
    }
    ~OldServer() {
        ioContext_.stop();
        thread_.join();
    }
    OldServer(const OldServer&) = delete;
    OldServer& operator=(const OldServer&) = delete;

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

 private:
    using Tcp = boost::asio::ip::tcp;
    using Stream = boost::asio::ssl::stream<Tcp::socket>;

    void accept() {
        acceptor_.async_accept([this](const boost::system::error_code& error, Tcp::socket socket) {
            if (!error) {
                const auto stream = std::make_shared<Stream>(std::move(socket), context_);
                stream->async_handshake(Stream::server, [stream](const auto&) {});
                accept();
            }
        });
    }

    boost::asio::ssl::context context_{boost::asio::ssl::context::tls_server};
    boost::asio::io_context ioContext_;
    Tcp::acceptor acceptor_{ioContext_, Tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), 0)};
    std::thread thread_;
};

class OldTlsContract : public TlsContract {
 protected:
    OldTlsContract() {
        configuration->known.serverBaseUri = "https://127.0.0.1:" + std::to_string(oldServer_.port());
    }

 private:
    OldServer oldServer_{authority.issue("old")};
};

// P11
TEST_F(OldTlsContract, IsRefusedByTheConnection) {
    begin();
    EXPECT_TRUE(log->waitFor("TLS handshake: tlsv1 alert protocol version"));
    EXPECT_EQ(states.size(), 0U);
}

// P19
TEST_F(OldTlsContract, IsRefusedByRequests) {
    EXPECT_NE(findFirst().failure.find("protocol version"), std::string::npos) << findFirst().failure;
}

// Begins a record of 16 KiB and sends one byte of it every 100 ms.
class SlowServer {
 public:
    SlowServer() {
        thread_ = std::thread([this] {
            Tcp::socket socket = acceptor_.accept();
            boost::system::error_code error;
            boost::asio::write(socket, boost::asio::buffer("\x16\x03\x03\x40", 4), error);
            while (!error && ended_.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
                boost::asio::write(socket, boost::asio::buffer("\0", 1), error);
            }
        });
    }
    ~SlowServer() {
        end_.set_value();
        thread_.join();
    }
    SlowServer(const SlowServer&) = delete;
    SlowServer& operator=(const SlowServer&) = delete;

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

 private:
    using Tcp = boost::asio::ip::tcp;

    boost::asio::io_context ioContext_;
    Tcp::acceptor acceptor_{ioContext_, Tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), 0)};
    std::promise<void> end_;
    std::future<void> ended_ = end_.get_future();
    std::thread thread_;
};

// P20
TEST_F(TlsContract, EndsAFindFirstInTimeWhenTheHandshakeTricklesIn) {
    const SlowServer slowServer;
    configuration->known.serverBaseUri = "https://127.0.0.1:" + std::to_string(slowServer.port());
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_NE(findFirst().failure.find("TLS handshake"), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
}

// P9
TEST_F(TlsContract, SaysThatAPlainServerDoesNotSpeakTls) {
    configuration->known.serverBaseUri = "https://127.0.0.1:" + std::to_string(bus.port());
    begin();
    EXPECT_TRUE(log->waitFor("TLS handshake: the server does not speak TLS"));
}

// P9
TEST_F(TlsContract, TriesAPlainServerAgainUntilItSpeaksTls) {
    serve(std::nullopt);
    const std::uint16_t port = server->port();
    configuration->known.serverBaseUri = "https://127.0.0.1:" + std::to_string(port);
    begin();
    ASSERT_TRUE(log->waitFor("the server does not speak TLS", kLimit, 2));
    serve(authority.issue("server"), port);
    EXPECT_EQ(states.next(), "connected");
}

// P19
TEST_F(TlsContract, EndsAFindFirstAtAPlainServerWithAnError) {
    configuration->known.serverBaseUri = "https://127.0.0.1:" + std::to_string(bus.port());
    EXPECT_NE(findFirst().failure.find("does not speak TLS"), std::string::npos) << findFirst().failure;
}

// P9
TEST_F(TlsContract, SaysThatAServerWhichHangsUpMayExpectTls) {
    serve(authority.issue("server"));
    configuration->known.serverBaseUri = "http://127.0.0.1:" + std::to_string(server->port());
    begin();
    EXPECT_TRUE(log->waitFor("closed the connection without an answer; it may expect TLS (https)"));
}

// P9
TEST_F(TlsContract, TriesATlsServerAgainUntilItSpeaksPlainly) {
    serve(authority.issue("server"));
    const std::uint16_t port = server->port();
    configuration->known.serverBaseUri = "http://127.0.0.1:" + std::to_string(port);
    begin();
    ASSERT_TRUE(log->waitFor("it may expect TLS (https)", kLimit, 2));
    serve(std::nullopt, port);
    EXPECT_EQ(states.next(), "connected");
}

}  // namespace
