// Raw HTTP responses: the input is everything that the server sends before it closes.
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "FindFirst.h"
#include "http/HttpAccess.h"

namespace {

/// A session that first uses an existing socket, and after that a port that refuses connections.
class OneSocketSession : public Poco::Net::HTTPClientSession {
 public:
    explicit OneSocketSession(int socket) : HTTPClientSession("127.0.0.1", 1) {
        setKeepAlive(true);
        attachSocket(Poco::Net::StreamSocket(new Poco::Net::StreamSocketImpl(socket)));
    }
};

}  // namespace

// The private sources are in this program and in the library that it links, with identical content.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer calls it by this name
extern "C" const char* __asan_default_options() {
    return "detect_odr_violation=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > std::size_t{64} * 1024) {
        return -1;  // must fit the socket's buffer
    }
    std::array<int, 2> ends{};
    fuzz::require(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0, "there are sockets");
    fuzz::require(::send(ends[1], data, size, 0) == static_cast<ssize_t>(size), "the socket takes the input");
    ::shutdown(ends[1], SHUT_WR);
    fuzz::findFirstClamp(
        std::make_shared<zeb::HttpAccess>(zeb::TpEndpoint{"ClampControl", "http://127.0.0.1:80", "/", ""},
                                          std::make_unique<OneSocketSession>(ends[0])));
    ::close(ends[1]);
    return 0;
}
