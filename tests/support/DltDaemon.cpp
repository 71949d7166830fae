#include "DltDaemon.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace test_support {

namespace {

constexpr std::chrono::milliseconds kLimit{20'000};

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// A port that is free now. The daemon cannot be told to pick one, so somebody else may be faster.
std::uint16_t freePort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    const bool known = ::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    ::close(probe);
    if (!known) throw std::runtime_error("no free port on loopback");
    return ntohs(address.sin_port);
}

bool accepts(std::uint16_t port) {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    const bool connected = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return connected;
}

bool becomesTrue(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace

DltDaemon::DltDaemon() {
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (start()) return;
    }
    throw std::runtime_error("dlt-daemon does not start: " + contentOf(directory_.path() / "daemon.txt"));
}

bool DltDaemon::start() {
    const std::string directory = pipeDirectory();
    const std::uint16_t port = freePort();
    port_ = std::to_string(port);
    const auto configuration = directory_.write("dlt.conf",
                                                "BindAddress = ::ffff:127.0.0.1\n"
                                                "ECUId = ECU1\n"
                                                "SendContextRegistration = 1\n"
                                                "LoggingMode = 0\n"
                                                "LoggingLevel = 4\n"
                                                "TimeOutOnSend = 4\n"
                                                "RingbufferMinSize = 500000\n"
                                                "RingbufferMaxSize = 10000000\n"
                                                "RingbufferStepSize = 500000\n"
                                                "PersistanceStoragePath = " +
                                                    directory +
                                                    "\n"
                                                    "ControlSocketPath = " +
                                                    directory + "/control.sock\n");
    daemon_ = std::make_unique<ChildProgram>(
        std::vector<std::string>{"dlt-daemon", "-c", configuration.string(), "-t", directory, "-p", port_},
        std::vector<std::string>{"DLT_PIPE_DIR=" + directory}, (directory_.path() / "daemon.txt").string());
    const bool listening = becomesTrue([&] { return !daemon_->isRunning() || accepts(port); }, kLimit);
    if (!listening || !daemon_->isRunning()) return false;

    // stdbuf: dlt-receive would keep its lines to itself until it ends.
    receiver_ = std::make_unique<ChildProgram>(
        std::vector<std::string>{"stdbuf", "-oL", "dlt-receive", "-a", "-p", port_, "127.0.0.1"},
        std::vector<std::string>{}, (directory_.path() / "received.txt").string());
    return receives("Daemon launched");
}

std::string DltDaemon::received() const {
    return contentOf(directory_.path() / "received.txt");
}

bool DltDaemon::receives(const std::string& text, std::chrono::milliseconds limit) const {
    return becomesTrue([&] { return received().find(text) != std::string::npos; }, limit);
}

void DltDaemon::setLevel(const std::string& application, const std::string& context, int level) {
    ChildProgram control({"dlt-control", "-a", application, "-c", context, "-l", std::to_string(level), "-t",
                          "200", "-p", port_, "127.0.0.1"},
                         {}, (directory_.path() / "control.txt").string());
    control.wait();
}

}  // namespace test_support
