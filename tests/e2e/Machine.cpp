#include "Machine.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace e2e {

namespace {

constexpr std::uint16_t kNameServerPort = 53;

// How many descriptors the process may have at most while they are used up: enough for what is open already.
constexpr rlim_t kDescriptorLimit = 256;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

Machine::~Machine() {
    giveDescriptorsBack();
    if (nameServer_ >= 0) {
        ::close(nameServer_);
    }
    if (!directory_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
}

void Machine::takeOverNames() {
    // An address of loopback of its own for each process.
    const auto process = static_cast<unsigned>(::getpid());
    const std::string server =
        "127.53." + std::to_string(process / 250U % 250U) + "." + std::to_string(process % 250U + 1U);
    nameServer_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kNameServerPort);
    ::inet_pton(AF_INET, server.c_str(), &address.sin_addr);
    if (::bind(nameServer_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("port 53");
    }

    std::string pattern = std::filesystem::temp_directory_path() / "names.XXXXXX";
    if (!::mkdtemp(pattern.data())) {
        fail("temporary directory");
    }
    directory_ = pattern;
    std::ofstream(directory_ + "/hosts") << "";
    std::ofstream(directory_ + "/resolv.conf") << "nameserver " << server << "\n";
    std::ofstream(directory_ + "/nsswitch.conf") << "hosts: files dns\n";
    for (const std::string name : {"hosts", "resolv.conf", "nsswitch.conf"}) {
        const std::string source = directory_ + "/" + name;
        const std::string target = "/etc/" + name;
        if (::mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0) {
            fail("private " + target);
        }
    }
}

void Machine::nameHas(const std::string& name, const std::vector<std::string>& addresses) const {
    std::ofstream hosts(directory_ + "/hosts");
    for (const std::string& address : addresses) {
        hosts << address << " " << name << "\n";
    }
}

bool Machine::waitForQuestion(std::chrono::milliseconds limit) const {
    pollfd waiting{nameServer_, POLLIN, 0};
    return ::poll(&waiting, 1, static_cast<int>(limit.count())) == 1;
}

void Machine::takeDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = kDescriptorLimit;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    for (int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC); descriptor >= 0;
         descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) {
        descriptors_.push_back(descriptor);
    }
}

void Machine::giveDescriptorsBack() {
    for (const int descriptor : descriptors_) {
        ::close(descriptor);
    }
    descriptors_.clear();
}

}  // namespace e2e
