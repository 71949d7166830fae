#include "DltDaemon.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <stdexcept>
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

/// A loopback port that the system gives to no other process while this object exists. The daemon cannot pick
/// a free port itself. It binds with SO_REUSEADDR, which lets it share the port with this socket, which has
/// SO_REUSEADDR too and does not listen.
class HeldPort {
 public:
    HeldPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = loopback(0);
        socklen_t length = sizeof address;
        const int yes = 1;
        // SO_REUSEADDR must follow the bind: set earlier, it would allow a port that is held for another
        // daemon.
        const bool held = ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                          ::setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
                          ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) == 0;
        if (!held) {
            ::close(socket_);
            throw std::runtime_error("no free port on loopback");
        }
        number_ = ntohs(address.sin_port);
    }
    HeldPort(const HeldPort&) = delete;
    HeldPort& operator=(const HeldPort&) = delete;
    ~HeldPort() { ::close(socket_); }

    std::uint16_t number() const { return number_; }

 private:
    int socket_;
    std::uint16_t number_ = 0;
};

/// Whether the port is being listened on. A test connection would show it too, but the daemon would send its
/// stored lines to this first client, which does not read them.
bool isListened(std::uint16_t port) {
    constexpr char listening[] = "0A";
    std::ostringstream suffix;
    suffix << ':' << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << port;
    for (const char* const table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream lines(table);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream fields(line);
            std::string number;
            std::string local;
            std::string remote;
            std::string state;
            fields >> number >> local >> remote >> state;
            const std::string end = suffix.str();
            if (state == listening && local.size() > end.size() &&
                local.compare(local.size() - end.size(), end.size(), end) == 0) {
                return true;
            }
        }
    }
    return false;
}

bool becomesTrue(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
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
    const HeldPort port;
    port_ = std::to_string(port.number());
    const std::string directory = pipeDirectory();
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
    const bool listening =
        becomesTrue([&] { return !daemon_->isRunning() || isListened(port.number()); }, kLimit);
    if (!listening || !daemon_->isRunning()) {
        throw std::runtime_error("dlt-daemon does not start: " + contentOf(directory_.path() / "daemon.txt"));
    }

    // stdbuf: otherwise dlt-receive buffers its lines until it ends.
    receiver_ = std::make_unique<ChildProgram>(
        std::vector<std::string>{"stdbuf", "-oL", "dlt-receive", "-a", "-p", port_, "127.0.0.1"},
        std::vector<std::string>{}, (directory_.path() / "received.txt").string());
    if (!receives("Daemon launched")) {
        throw std::runtime_error("dlt-receive is not connected: " +
                                 contentOf(directory_.path() / "received.txt"));
    }
}

void DltDaemon::pause() {
    daemon_->pause();
}

void DltDaemon::resume() {
    daemon_->resume();
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
