#include "BusThread.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdio>

namespace zebbussim {

namespace asio = boost::asio;

void BusThread::start() {
    thread_ = std::thread([this] { run(); });
}

void BusThread::join() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

void BusThread::run() {
    const auto work = asio::make_work_guard(ioContext_);
    for (;;) {
        try {
            ioContext_.run();
            return;
        } catch (const std::exception& exception) {
            std::fprintf(stderr, "zeb-bus-sim: %s\n", exception.what());
        }
    }
}

void BusThread::post(std::function<void()> function) {
    asio::post(ioContext_, std::move(function));
}

void BusThread::runLater(std::chrono::milliseconds delay, std::function<void()> function) {
    const auto timer = std::make_shared<asio::steady_timer>(ioContext_, delay);
    timer->async_wait([timer, function = std::move(function)](const boost::system::error_code& error) {
        if (!error) {
            function();
        }
    });
}

}  // namespace zebbussim
