#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>
#include <variant>

namespace zebbussim {

/// The thread that serves the bus, with its `io_context`. Runs once: `start()`, then `requestEnd()` and
/// `join()`. After an exception from a handler it repairs what the handler has left, and continues.
///
/// Owned by the simulator. Objects that use the `io_context` must be destroyed before this object.
class BusThread {
 public:
    boost::asio::io_context& ioContext() { return ioContext_; }

    /// @param repair gets the text of an exception that a handler has thrown
    void start(std::function<void(const char* problem)> repair);
    /// Ends the thread after the present handler. Pending handlers are dropped. Any thread may call it.
    void requestEnd() { ioContext_.stop(); }
    /// Does nothing if the thread was not started.
    void join();

    /// Queues a function for this thread. Any thread may call it.
    void post(std::function<void()> function);
    /// Runs a function on this thread after a delay, unless the thread ends before. Call it on this thread.
    void runLater(std::chrono::milliseconds delay, std::function<void()> function);

    /// Runs a function on this thread, waits for it, and returns what it returns or throws what it throws.
    /// Must not be called on this thread.
    template <typename Function>
    auto invoke(Function function) {
        using Result = decltype(function());
        const auto outcome = std::make_shared<Outcome<Result>>();
        std::future<void> decided = outcome->decided.get_future();
        boost::asio::post(ioContext_, [&function, outcome] {
            try {
                if constexpr (std::is_void_v<Result>) {
                    function();
                } else {
                    outcome->value = function();
                }
            } catch (...) {
                outcome->error = std::current_exception();
            }
            outcome->decided.set_value();
        });
        decided.get();
        if (outcome->error) {
            // Moved out, because this thread must not release an exception that the caller still reads.
            std::rethrow_exception(std::exchange(outcome->error, nullptr));
        }
        if constexpr (!std::is_void_v<Result>) {
            return std::move(*outcome->value);
        }
    }

 private:
    /// The result of an invoked function.
    template <typename Result>
    struct Outcome {
        std::conditional_t<std::is_void_v<Result>, std::monostate, std::optional<Result>> value;
        std::exception_ptr error;
        std::promise<void> decided;
    };

    void run();
    void repair(const std::exception_ptr& problem);
    bool isRepaired(const char* problem) noexcept;

    boost::asio::io_context ioContext_{1};
    std::function<void(const char*)> repair_;
    std::thread thread_;
};

}  // namespace zebbussim
