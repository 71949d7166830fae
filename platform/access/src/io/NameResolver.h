#pragma once

#include <internal/DetachedQuestions.h>

#include <boost/asio/ip/address.hpp>
#include <cstddef>
#include <string>
#include <vector>

namespace zeb {

/// Finds the addresses of a host, as the system does it (getaddrinfo). The system's look-up cannot be
/// interrupted, and takes as long as the name servers are silent, so nobody waits for its thread; see
/// internal::DetachedQuestions.
///
/// Thread safety: any thread may use it.
class NameResolver {
 public:
    struct Answer {
        std::vector<boost::asio::ip::address> addresses;  ///< best first; empty if there is a failure
        std::string failure;                              ///< for the log; empty if there is none
    };

    using Questions = internal::DetachedQuestions<std::string, Answer>;
    using Done = Questions::Done;
    using Function = Questions::Function;  ///< a look-up as the system does it
    using Question = Questions::Question;

    static constexpr std::size_t kMostThreads = Questions::kMostThreads;

    /// The resolver of the process; never destroyed.
    static NameResolver& ofProcess();

    /// Asks the system.
    NameResolver();
    explicit NameResolver(Function function);

    /// Asks for the addresses of `host`, which may be a name or an address.
    [[nodiscard]] Question ask(const std::string& host, Done done);

 private:
    Questions questions_;
};

}  // namespace zeb
