#pragma once

#include <sys/socket.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <mutex>

#include "io/IoThread.h"

namespace zeb {

/// Limits how long an exchange on a blocking socket may take as a whole. At the deadline the socket is shut
/// down, which ends every wait on it. A time limit per read is not enough, because a server could send one
/// byte just before each limit.
///
/// Lives on the stack of the exchange; the timer runs on the I/O thread.
class ExchangeDeadline {
 public:
    /// @param socket must stay open as long as this object lives
    ExchangeDeadline(std::shared_ptr<IoThread> ioThread, int socket,
                     std::chrono::steady_clock::time_point deadline)
        : ioThread_(std::move(ioThread)), watch_(std::make_shared<Watch>(ioThread_->context(), socket)) {
        boost::asio::post(ioThread_->context(), [watch = watch_, deadline] {
            watch->timer.expires_at(deadline);
            watch->timer.async_wait([watch](const boost::system::error_code& error) {
                if (!error) {
                    watch->shutDown();
                }
            });
        });
    }

    ~ExchangeDeadline() {
        watch_->release();
        boost::asio::post(ioThread_->context(), [watch = watch_] { watch->timer.cancel(); });
    }

    ExchangeDeadline(const ExchangeDeadline&) = delete;
    ExchangeDeadline& operator=(const ExchangeDeadline&) = delete;

    bool hasPassed() const { return watch_->hasPassed(); }

 private:
    class Watch {
     public:
        Watch(boost::asio::io_context& context, int socket) : timer(context), socket_(socket) {}

        void shutDown() {
            const std::lock_guard lock(mutex_);
            if (socket_ >= 0) {
                ::shutdown(socket_, SHUT_RDWR);
                hasPassed_ = true;
            }
        }

        // After this the socket may be closed, and its number may be reused for another one.
        void release() {
            const std::lock_guard lock(mutex_);
            socket_ = -1;
        }

        bool hasPassed() {
            const std::lock_guard lock(mutex_);
            return hasPassed_;
        }

        boost::asio::steady_timer timer;

     private:
        std::mutex mutex_;
        int socket_;
        bool hasPassed_ = false;
    };

    const std::shared_ptr<IoThread> ioThread_;
    const std::shared_ptr<Watch> watch_;
};

}  // namespace zeb
