// What the platform accepts as the server's answer to the request for a WebSocket. The server is made of
// bytes alone. Numbers are those of the promises in docs/platform-contract.md.

#include <PlatformFixture.h>
#include <openssl/evp.h>
#include <poll.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

#include "BareServer.h"

namespace {

using test_support::kLimit;

/// What must have happened before the platform's limit of five seconds for an attempt.
constexpr std::chrono::seconds kSoon{4};

/// Accepts one connection at a time and reads the request.
class ByteServer {
 public:
    std::string baseUri() const {
        return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port());
    }

    void receiveRequest() {
        pollfd waiting{acceptor_.native_handle(), POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(std::chrono::milliseconds(kLimit).count())) != 1) {
            throw std::runtime_error("no client connected");
        }
        socket_.emplace(acceptor_.accept());
        request_.clear();
        boost::asio::read_until(*socket_, boost::asio::dynamic_buffer(request_), "\r\n\r\n");
    }

    void send(const std::string& bytes) { boost::asio::write(*socket_, boost::asio::buffer(bytes)); }

    /// The answer that opens the WebSocket, with more headers, each of which ends in a line break.
    std::string acceptance(const std::string& moreHeaders = "",
                           const std::string& subProtocol = "zeb.v1") const {
        return "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Accept: " +
               acceptKey() + "\r\nSec-WebSocket-Protocol: " + subProtocol + "\r\n" + moreHeaders + "\r\n";
    }

 private:
    std::string acceptKey() const {
        const std::string name = "Sec-WebSocket-Key: ";
        const std::size_t begin = request_.find(name) + name.size();
        const std::string text = request_.substr(begin, request_.find("\r\n", begin) - begin) +
                                 "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
        std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
        unsigned size = 0;
        EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha1(), nullptr);
        std::array<unsigned char, 2 * EVP_MAX_MD_SIZE> encoded{};
        const int length = EVP_EncodeBlock(encoded.data(), digest.data(), static_cast<int>(size));
        return {encoded.begin(), encoded.begin() + length};
    }

    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
    std::optional<boost::asio::ip::tcp::socket> socket_;
    std::string request_;
};

class UpgradeContract : public test_support::PlatformFixture {
 protected:
    UpgradeContract() { configuration->known.serverBaseUri = server.baseUri(); }

    void receiveRequest() {
        createRegistry();
        listen();
        server.receiveRequest();
    }

    // Expects that the answer is refused, and soon.
    void expectRefusal(const std::string& answer, const std::string& reason) {
        server.send(answer);
        EXPECT_TRUE(log->waitFor(reason, kSoon));
        EXPECT_EQ(states.size(), 0U);
    }

    ByteServer server;
};

// P11
TEST_F(UpgradeContract, TakesAnAnswerAsItShouldBe) {
    receiveRequest();
    server.send(server.acceptance());
    EXPECT_EQ(states.next(), "connected");
}

// P11
TEST_F(UpgradeContract, SkipsInterimAnswers) {
    receiveRequest();
    server.send("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n" +
                server.acceptance());
    EXPECT_EQ(states.next(), "connected");
}

// P26
TEST_F(UpgradeContract, TakesMessagesThatArriveRightBehindALargeHeader) {
    receiveRequest();
    const std::string message = R"({"action":"dance","with":")" + std::string(4000, 'x') + "\"}";
    server.send(server.acceptance("X-Large: " + std::string(4000, 'x') + "\r\n") +
                contract::BareServer::textFrame(message));
    EXPECT_EQ(states.next(), "connected");
    EXPECT_TRUE(log->waitFor("message with unknown action ignored"));
}

// P11
TEST_F(UpgradeContract, RefusesAnExtensionThatNobodyHasAskedFor) {
    receiveRequest();
    expectRefusal(server.acceptance("Sec-WebSocket-Extensions: permessage-deflate\r\n"),
                  "the server uses an extension that nobody has asked for");
}

// P11
TEST_F(UpgradeContract, RefusesAnEmptyListOfExtensionsToo) {
    receiveRequest();
    expectRefusal(server.acceptance("Sec-WebSocket-Extensions:\r\n"),
                  "the server uses an extension that nobody has asked for");
}

// P11
TEST_F(UpgradeContract, RefusesAListOfSubProtocols) {
    receiveRequest();
    expectRefusal(server.acceptance("", "zeb.v1, zeb.v2"), "does not speak the sub-protocol zeb.v1");
}

// P11
TEST_F(UpgradeContract, RefusesTwoSubProtocols) {
    receiveRequest();
    expectRefusal(server.acceptance("Sec-WebSocket-Protocol: zeb.v2\r\n"),
                  "more than one header Sec-WebSocket-Protocol");
}

// P11
TEST_F(UpgradeContract, RefusesAnUpgradeWithABody) {
    receiveRequest();
    expectRefusal(server.acceptance("Content-Length: 5\r\n") + "12345", "announces a body");
}

// P11, P32
TEST_F(UpgradeContract, DoesNotWaitForTheBodyOfARefusal) {
    receiveRequest();
    expectRefusal("HTTP/1.1 503 Service Unavailable\r\nContent-Length: 1000000000\r\n\r\nsorry",
                  "the server declined with HTTP status 503");
}

// P11, P32
TEST_F(UpgradeContract, DoesNotReadAHeaderWithoutEnd) {
    receiveRequest();
    expectRefusal("HTTP/1.1 101 x\r\nX: " + std::string(9000, 'x'), "a header of at most 8 KiB");
}

// P11
TEST_F(UpgradeContract, RefusesWhatIsNoHttp) {
    receiveRequest();
    expectRefusal("SSH-2.0-server\r\n", "is not HTTP/1.1");
}

// P14
TEST_F(UpgradeContract, SaysThatNoAnswerHasArrivedWithinTheLimit) {
    receiveRequest();
    EXPECT_TRUE(
        log->waitFor("no connection within 5 s: WebSocket handshake: the server does not answer", kLimit));
}

// P14
TEST_F(UpgradeContract, SaysThatNoAnswerToTheTlsHandshakeHasArrivedWithinTheLimit) {
    configuration->known.serverBaseUri = "https" + server.baseUri().substr(4);
    createRegistry();
    listen();
    EXPECT_TRUE(log->waitFor("no connection within 5 s: TLS handshake: the server does not answer", kLimit));
}

}  // namespace
