// road-floor: a Beast WebSocket client that does nothing with its messages: no time limits, no parsing, no
// second thread. The reference for the road's figures. With --hop 1 it passes each message's text to a second
// thread, which records the time. That shows the least cost of one hand-over on this machine.

#include <pthread.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <condition_variable>
#include <exception>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Arrivals.h"

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using asio::ip::tcp;

/// Messages on their way to a second thread, which takes all waiting messages at once.
class HandOver {
 public:
    void push(std::string message) {
        {
            const std::lock_guard lock(mutex_);
            waiting_.push_back(std::move(message));
            if (waiting_.size() > 1) {
                return;
            }
        }
        wakeUp_.notify_one();
    }

    void stop() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        wakeUp_.notify_one();
    }

    template <typename Arrived>
    void run(const Arrived& arrived) {
        std::vector<std::string> batch;
        std::unique_lock lock(mutex_);
        while (!stopped_) {
            wakeUp_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
            batch.swap(waiting_);
            lock.unlock();
            for (std::size_t i = 0; i < batch.size(); ++i) {
                arrived();
            }
            batch.clear();
            lock.lock();
        }
    }

 private:
    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::vector<std::string> waiting_;
    bool stopped_ = false;
};

class FloorClient {
 public:
    /// @param handOver if null, the reading thread records the time
    FloorClient(bench::Arrivals& arrivals, HandOver* handOver, std::uint16_t port)
        : arrivals_(arrivals), handOver_(handOver) {
        const tcp::endpoint server(asio::ip::address_v4::loopback(), port);
        stream_.next_layer().connect(server);
        stream_.next_layer().set_option(tcp::no_delay(true));
        stream_.set_option(websocket::stream_base::decorator([](websocket::request_type& request) {
            request.set(beast::http::field::sec_websocket_protocol, "zeb.v1");
        }));
        stream_.handshake("127.0.0.1:" + std::to_string(port), "/ClampControl");
        stream_.write(asio::buffer(
            std::string(R"({"action":"subscribe","path":"/ClampControl/clamps/1","requestId":"1"})")));
        stream_.read(buffer_);  // the response
        buffer_.clear();
        stream_.read(buffer_);  // the present state
        buffer_.clear();
        arrivals_.present();
    }

    void run() {
        readNext();
        context_.run();
    }
    void stop() { context_.stop(); }

 private:
    void readNext() {
        stream_.async_read(buffer_, [this](const beast::error_code& error, std::size_t) {
            if (error) {
                return;
            }
            if (handOver_ == nullptr) {
                arrivals_.arrived();
            } else {
                handOver_->push(beast::buffers_to_string(buffer_.cdata()));
            }
            buffer_.clear();
            readNext();
        });
    }

    bench::Arrivals& arrivals_;
    HandOver* const handOver_;
    asio::io_context context_{1};
    websocket::stream<tcp::socket> stream_{context_};
    beast::flat_buffer buffer_;
};

}  // namespace

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments,
                                       bench::Arrivals::arguments({{"address", "", true}, {"hop", "0"}}));
        bench::Arrivals arrivals(options);
        HandOver handOver;
        const bool hops = options.number("hop") != 0;
        FloorClient client(arrivals, hops ? &handOver : nullptr,
                           static_cast<std::uint16_t>(options.number("address")));
        std::thread reader([&client] { client.run(); });
        pthread_setname_np(reader.native_handle(), "reader");
        std::thread taker([&] {
            if (hops) {
                handOver.run([&arrivals] { arrivals.arrived(); });
            }
        });
        pthread_setname_np(taker.native_handle(), "taker");
        const bool isRight = arrivals.waitAndTell();
        client.stop();
        handOver.stop();
        reader.join();
        taker.join();
        return isRight ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
