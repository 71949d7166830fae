#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <cstddef>
#include <deque>
#include <functional>

namespace zebbussim {

/// The large requests that wait to be handled. Runs one at a time, and lets the thread serve everything else
/// that is ready before the next one. Used on the bus's thread.
class HeavyWork {
 public:
    /// Returns false, and does not take the work, if too much is waiting.
    /// @param size of what waits with it, in bytes
    bool add(boost::asio::any_io_executor executor, std::size_t size, std::function<void()> work);
    /// Drops what waits. For the end of the executor.
    void clear();

 private:
    struct Task {
        std::size_t size;
        std::function<void()> work;
    };

    void post(boost::asio::any_io_executor executor);
    void runNext(boost::asio::any_io_executor executor);

    std::deque<Task> tasks_;
    std::size_t size_ = 0;
    bool posted_ = false;
};

}  // namespace zebbussim
