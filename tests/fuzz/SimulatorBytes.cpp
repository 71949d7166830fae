// All bytes that a client sends on a connection to the running simulator. With "W" as the first byte, the
// rest is sent on an open WebSocket.
#include <zeb-bus-sim/BusSimulator.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Socket.h"

namespace {

using fuzz::require;
using fuzz::Socket;

constexpr const char* kService = "ClampControl";
constexpr const char* kClamp = "/ClampControl/clamps/15";
constexpr const char* kResources =
    R"({"clamps":[{"id":"15","name":"Clamp15","type":"Clamp15","isSwitchedOn":true},)"
    R"({"id":"S","type":"ClampS","isSwitchedOn":false,"see":{"uri":"/ClampControl/clamps/15"}}],)"
    R"("notifications":[]})";
constexpr const char* kHandshake =
    "GET /ClampControl HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
    "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
    "Sec-WebSocket-Protocol: zeb.v1\r\n\r\n";
constexpr std::chrono::seconds kLimit{10};

zebbussim::BusSimulator& runningSimulator() {
    static zebbussim::BusSimulator simulator;
    static const bool isRunning = (simulator.start(), true);
    static_cast<void>(isRunning);
    return simulator;
}

/// A step such as "stall" would do what the checks below call a defect; SimulatorSteps has them.
bool mayMakeFaults(std::string_view input) {
    return input.find('_') != std::string_view::npos || input.find("%5f") != std::string_view::npos ||
           input.find("%5F") != std::string_view::npos;
}

}  // namespace

// The search for leaks would stop all threads after most inputs: it takes more time than the inputs.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer calls it by this name
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    if (mayMakeFaults(input)) {
        return -1;
    }
    zebbussim::BusSimulator& sut = runningSimulator();
    sut.addService(kService, kResources);
    {
        const Socket client(Socket::create());
        const sockaddr_in address = Socket::loopback(sut.port());
        require(
            ::connect(client.descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "the simulator accepts connections");
        const bool isWebSocket = !input.empty() && input.front() == 'W';
        if (isWebSocket) {
            input.remove_prefix(1);
            require(::send(client.descriptor(), kHandshake, std::string_view(kHandshake).size(),
                           MSG_NOSIGNAL) > 0,
                    "the simulator reads");
            require(client.readTo("\r\n\r\n").rfind("HTTP/1.1 101", 0) == 0, "the handshake is accepted");
        }
        const std::string answer = client.exchange(input);
        require(isWebSocket || answer.empty() || answer.rfind("HTTP/1.", 0) == 0, "an answer is one of HTTP");
        require(answer.find("internal_error") == std::string::npos, "a request cannot break the bus");
    }
    require(sut.waitForSubscribers(kClamp, 0, kLimit), "a client that has left has no subscription");
    require(sut.waitForWebSockets(kService, 0, kLimit), "a client that has left has no WebSocket");
    require(sut.element(kClamp).size() <= std::size_t{1024} * 1024, "an element has 1 MiB at most");
    return 0;
}
