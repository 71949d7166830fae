#include "FarServer.h"

#include <Emulator.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace e2e {

namespace {

void run(const std::string& command) {
    if (std::system((command + " 2>/dev/null").c_str()) != 0) {
        throw std::runtime_error("\"" + command + "\" failed");
    }
}

}  // namespace

FarServer::FarServer(Place place) {
    const std::string number = std::to_string(::getpid());
    std::vector<std::string> command;
    if (place == Place::OwnNetwork) {
        // The name exists only in this process's mounts, and everything ends with this process.
        const unsigned block = static_cast<unsigned>(::getpid()) % 16384U * 4U;
        const std::string network =
            "198.18." + std::to_string(block / 256U) + "." + std::to_string(block % 256U + 1U);
        address_ = "198.18." + std::to_string(block / 256U) + "." + std::to_string(block % 256U + 2U);
        device_ = "far" + number;
        run("ip netns add " + device_);
        run("ip link add " + device_ + " type veth peer name eth0 netns " + device_);
        run("ip address add " + network + "/30 dev " + device_);
        run("ip link set " + device_ + " up");
        run("ip -n " + device_ + " address add " + address_ + "/30 dev eth0");
        run("ip -n " + device_ + " link set eth0 up");
        command = {"ip", "netns", "exec", device_};
    }
    for (const std::string& word :
         test_support::commandOf(ZEB_BUS_SIM, {"--address", address_, VEHICLE_BUS})) {
        command.push_back(word);
    }
    program_ = std::make_unique<test_support::BusProgram>(command);
}

FarServer::~FarServer() {
    goOn();
    program_.reset();
    if (!device_.empty()) {
        static_cast<void>(std::system(("ip netns delete " + device_ + " 2>/dev/null").c_str()));
    }
}

void FarServer::set(const std::string& path, const std::string& json) const {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ::inet_pton(AF_INET, address_.c_str(), &address.sin_addr);
    address.sin_port =
        htons(static_cast<std::uint16_t>(std::stoul(baseUri().substr(baseUri().find_last_of(':') + 1))));
    const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::string request = "POST " + path + " HTTP/1.1\r\nHost: " + address_ +
                                "\r\nConnection: close\r\nContent-Length: " + std::to_string(json.size()) +
                                "\r\n\r\n" + json;
    char answer[12] = {};
    const bool isDone =
        ::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::send(connection, request.data(), request.size(), MSG_NOSIGNAL) > 0 &&
        ::recv(connection, answer, sizeof answer, MSG_WAITALL) == sizeof answer;
    ::close(connection);
    if (!isDone || std::string(answer + 9, 3) != "200") {
        throw std::runtime_error("zeb-bus-sim did not accept a change of " + path);
    }
}

void FarServer::stop() const {
    program_->pause();
}

void FarServer::goOn() const {
    program_->resume();
}

void FarServer::cutOff() const {
    run("ip -n " + device_ + " link set eth0 down");
}

void FarServer::reconnect() const {
    run("ip -n " + device_ + " link set eth0 up");
}

}  // namespace e2e
