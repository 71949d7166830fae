// All bytes that a server sends to the platform's WebSocket, over TCP. With "H" as the first byte, the rest
// is the answer to the handshake and what follows it; "{accept}" stands for the value that belongs to the
// client's key. Otherwise the handshake is answered as it should be, and the input is what follows the
// client's first subscription.
#include <openssl/evp.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/ZebException.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <array>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Require.h"
#include "SilentLog.h"
#include "Socket.h"

namespace {

using fuzz::require;
using fuzz::Socket;

constexpr const char* kAnswer =
    "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Accept: {accept}\r\nSec-WebSocket-Protocol: zeb.v1\r\n\r\n";

class Listener {
 public:
    Listener() : socket_(Socket::create()) {
        sockaddr_in address = Socket::loopback(0);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        require(::bind(socket_.descriptor(), generic, length) == 0 &&
                    ::listen(socket_.descriptor(), 16) == 0 &&
                    ::getsockname(socket_.descriptor(), generic, &length) == 0,
                "there is a port");
        port_ = ntohs(address.sin_port);
    }

    std::string uri() const { return "ws://127.0.0.1:" + std::to_string(port_) + "/ClampControl"; }
    int accept() const {
        return fuzz::uninterrupted(
            [&] { return ::accept4(socket_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC); });
    }

 private:
    Socket socket_;
    std::uint16_t port_ = 0;
};

std::string acceptValue(const std::string& request) {
    std::string lower = request;
    for (char& each : lower) {
        each = static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
    }
    const std::string name = "sec-websocket-key: ";
    const std::size_t begin = lower.find(name);
    require(begin != std::string::npos, "the handshake has a key");
    const std::string key = request.substr(begin + name.size(), 24) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    EVP_Digest(key.data(), key.size(), digest.data(), &length, EVP_sha1(), nullptr);
    std::array<unsigned char, 64> text{};
    const int size = EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(length));
    return {reinterpret_cast<const char*>(text.data()), static_cast<std::size_t>(size)};
}

std::string withAcceptValue(std::string_view answer, const std::string& value) {
    const std::string_view placeholder = "{accept}";
    const std::size_t begin = answer.find(placeholder);
    return begin == std::string_view::npos ? std::string(answer)
                                           : std::string(answer.substr(0, begin)) + value +
                                                 std::string(answer.substr(begin + placeholder.size()));
}

/// What the executor's thread sees of one connection.
struct Events {
    std::shared_ptr<zeb::IWebsocketManager> manager;
    std::shared_ptr<zeb::Subscription> subscription;
    int opened = 0;
    int closed = 0;
    std::promise<void> end;
};

std::shared_ptr<zeb::IWebsocketManager> connect(zeb::DefaultWebsocketManagerFactory& factory,
                                                const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                                                const Listener& listener,
                                                const std::shared_ptr<Events>& events) {
    zeb::WebsocketSettings settings;
    settings.uri = listener.uri();
    std::promise<void> isKnown;
    executor->add([known = isKnown.get_future().share()] { known.wait(); }, "until the manager is known");
    events->manager = factory.createWebsocketManager(
        "ClampControl", settings, executor, fuzz::silentLogger(),
        {[events] {
             require(++events->opened == 1 && events->closed == 0, "opened comes once, and first");
             try {
                 events->subscription = events->manager->subscribe(
                     "/ClampControl/clamps/1", "1",
                     [events](std::string_view data) {
                         require(events->closed == 0 && !data.empty(), "data comes before the end");
                     },
                     [events](const std::string&) {
                         require(events->closed == 0,
                                 "the end of a subscription comes before that of the connection");
                     });
             } catch (const zeb::ZebException&) {
                 return;  // it is closed already
             }
         },
         [events](const zeb::WebsocketEnd&) {
             require(++events->closed == 1, "closed comes once");
             events->end.set_value();
         }});
    isKnown.set_value();
    return events->manager;
}

std::shared_ptr<zebutil::ITaskExecutor> startedExecutor() {
    const auto executor = std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(
        "fuzz", std::make_unique<test_support::RecordingLogger>(fuzz::silentLog(), "Fuzz"));
    executor->start();
    return executor;
}

void waitFor(const std::shared_ptr<zebutil::ITaskExecutor>& executor) {
    std::promise<void> reached;
    executor->add([&] { reached.set_value(); }, "the end of the input");
    reached.get_future().wait();
}

}  // namespace

// The search for leaks would stop all threads after most inputs: it takes more time than the inputs.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer calls it by this name
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Listener listener;
    static const auto executor = startedExecutor();
    static zeb::DefaultWebsocketManagerFactory factory;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const bool isHandshake = !input.empty() && input.front() == 'H';
    if (isHandshake) {
        input.remove_prefix(1);
    }

    const auto events = std::make_shared<Events>();
    const auto manager = connect(factory, executor, listener, events);
    {
        const Socket server(listener.accept());
        const std::string value = acceptValue(server.readTo("\r\n\r\n"));
        if (isHandshake) {
            server.exchange(withAcceptValue(input, value));
        } else {
            const std::string answer = withAcceptValue(kAnswer, value);
            require(::send(server.descriptor(), answer.data(), answer.size(), MSG_NOSIGNAL) > 0,
                    "the client reads");
            require(!server.readSome().empty(), "the client subscribes");
            server.exchange(input);
        }
    }
    require(events->end.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready,
            "the end of a connection is reported");
    factory.removeClient("ClampControl");
    waitFor(executor);
    require(isHandshake || events->opened == 1, "the right answer opens the WebSocket");
    events->manager.reset();
    events->subscription.reset();
    return 0;
}
