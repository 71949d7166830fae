#include "BusThread.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>
#include <utility>

namespace zebbussim {

namespace asio = boost::asio;

void BusThread::start(std::function<void(const char* problem)> repair) {
    repair_ = std::move(repair);
    thread_ = std::thread([this] { run(); });
}

void BusThread::join() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

void BusThread::run() {
    const auto work = asio::make_work_guard(ioContext_);
    std::exception_ptr problem;
    for (;;) {
        try {
            if (problem) {
                repair(problem);
            }
            ioContext_.run();
            return;
        } catch (const std::exception&) {
            problem = std::current_exception();
        }
    }
}

void BusThread::repair(const std::exception_ptr& problem) {
    for (;;) {
        try {
            std::rethrow_exception(problem);
        } catch (const std::exception& exception) {
            if (isRepaired(exception.what()) || ioContext_.stopped()) {
                return;
            }
        }
        ioContext_.run_one();  // may give back what the repair needs
    }
}

bool BusThread::isRepaired(const char* problem) noexcept {
    try {
        repair_(problem);
        return true;
    } catch (const std::exception&) {
        return false;
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
