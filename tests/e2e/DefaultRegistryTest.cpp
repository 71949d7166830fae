// Without a usable configuration a client asks the service registry at http://[::1]:80. These tests can
// provide that address only in a separate network.

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "ClientFixture.h"

namespace {

using clampcontrolclient::ClampControlClient;
using namespace std::chrono_literals;

void require(bool isDone, const char* what) {
    if (!isDone) {
        throw std::system_error(errno, std::system_category(), what);
    }
}

class Socket {
 public:
    Socket(int family, int type) : descriptor(::socket(family, type | SOCK_CLOEXEC, 0)) {
        require(descriptor >= 0, "socket");
    }
    ~Socket() { ::close(descriptor); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    const int descriptor;
};

/// Gives this thread, and everything that it starts from now on, a network with only the loopback device.
void enterOwnNetwork() {
    if (::unshare(CLONE_NEWNET) != 0) {
        require(::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0, "unshare");
    }
    const Socket control(AF_INET, SOCK_DGRAM);
    ifreq loopback{};
    std::string("lo").copy(loopback.ifr_name, IFNAMSIZ - 1);
    loopback.ifr_flags = IFF_UP;
    require(::ioctl(control.descriptor, SIOCSIFFLAGS, &loopback) == 0, "the loopback device");

    const Socket probe(AF_INET6, SOCK_STREAM);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    address.sin6_port = htons(80);
    require(::bind(probe.descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "[::1]:80");
}

class ClientAtTheDefaultRegistry : public e2e::ClientFixture {
 protected:
    ClientAtTheDefaultRegistry() : ClientFixture(busAtTheDefaultAddress()) {}

    void SetUp() override {
        if (!obstacle().empty()) {
            GTEST_SKIP() << "needs a network namespace with IPv6: " << obstacle();
        }
    }

    void start() {
        client = std::make_unique<ClampControlClient>();
        client->AssignCallback(&application);
        client->Start();
    }

 private:
    static std::string& obstacle() {
        static std::string reason;
        return reason;
    }

    static zebbussim::BusSimulator::Options busAtTheDefaultAddress() {
        zebbussim::BusSimulator::Options options;
        try {
            enterOwnNetwork();
            options.address = "::1";
            options.port = 80;
        } catch (const std::system_error& error) {
            obstacle() = error.what();
        }
        return options;
    }
};

TEST_F(ClientAtTheDefaultRegistry, FindsTheServiceWithoutAConfigurationFile) {
    start();
    EXPECT_EQ(application.next(), "connected");
}

TEST_F(ClientAtTheDefaultRegistry, TellsNothingWithoutAConfigurationFileUntilTheServiceShowsUp) {
    bus.stop();
    start();
    EXPECT_EQ(application.next(200ms), std::nullopt);
    bus.start();
    EXPECT_EQ(application.next(), "connected");
}

TEST_F(ClientAtTheDefaultRegistry, FindsTheServiceWithABrokenConfigurationFile) {
    writeConfiguration("{\"services\":");
    start();
    EXPECT_EQ(application.next(), "connected");
}

}  // namespace
