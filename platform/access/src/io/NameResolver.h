#pragma once

#include <boost/asio/ip/address.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zeb {

/// Finds the addresses of a host, as the system does it (getaddrinfo), on threads of its own.
///
/// The system's look-up cannot be interrupted, and takes as long as the name servers are silent. So nobody
/// waits for such a thread, not even the end of the process: whoever has asked can forget his question at any
/// time. There is at most one look-up of a name at a time, whose answer everybody gets who has asked for that
/// name meanwhile, and there are only a few look-ups at once.
///
/// Thread safety: any thread may use it.
class NameResolver {
 public:
    struct Answer {
        std::vector<boost::asio::ip::address> addresses;  ///< best first; empty if there is a failure
        std::string failure;                              ///< for the log; empty if there is none
    };

    /// Receives the answer, on a thread of the resolver or, if there can be none, on the caller's stack. Must
    /// do nothing but hand it over: a mutex is held. What it throws is ignored.
    using Done = std::function<void(const Answer& answer)>;

    /// A look-up as the system does it. Blocks.
    using Function = std::function<Answer(const std::string& host)>;

    class State;
    struct Waiter;

    /// A question. Once it is destroyed, its `Done` is not running and will not be called.
    class Question {
     public:
        Question() = default;
        Question(std::shared_ptr<State> state, std::shared_ptr<Waiter> waiter)
            : state_(std::move(state)), waiter_(std::move(waiter)) {}
        Question(Question&& other) noexcept = default;
        Question& operator=(Question&& other) noexcept;
        ~Question() { forget(); }

        void forget();

     private:
        std::shared_ptr<State> state_;
        std::shared_ptr<Waiter> waiter_;
    };

    static constexpr std::size_t kMostThreads = 4;

    /// The resolver of the process; never destroyed.
    static NameResolver& ofProcess();

    /// Asks the system.
    NameResolver();
    explicit NameResolver(Function function);

    /// Asks for the addresses of `host`, which may be a name or an address.
    [[nodiscard]] Question ask(const std::string& host, Done done);

 private:
    const std::shared_ptr<State> state_;
};

}  // namespace zeb
