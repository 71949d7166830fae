#include <OpenToSigpipe.h>
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>

#include "http/TimedSocket.h"
namespace {

using namespace std::chrono_literals;

// Without its care, the process would end by SIGPIPE.
TEST(TimedSocket, RaisesNoSignalAfterTheEndOfTheConnection) {
    const test_support::OpenToSigpipe openToSigpipe;
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);

    zebutil::TimedSocket sut;
    sut.connect("127.0.0.1", ntohs(address.sin_port), std::chrono::steady_clock::now() + 20s);
    const int peer = ::accept(listener, nullptr, nullptr);
    EXPECT_EQ(sut.trySend("xx", 2), 2);
    char byte = 0;
    ASSERT_EQ(::recv(peer, &byte, 1, 0), 1);
    ::shutdown(peer, SHUT_WR);
    ::close(peer);  // a reset, because one byte was not read
    EXPECT_THROW(sut.trySend("x", 1), zebutil::TransportError);
    EXPECT_THROW(sut.trySend("x", 1), zebutil::TransportError);
    ::close(listener);
}

}  // namespace
