#pragma once

#include <zebutil/Export.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zebutil {

struct BaseUri;

/// HTTP/1.1 with one server, over one connection that is kept alive between the exchanges. Reads the answers
/// strictly: an answer whose end is doubtful is refused, and a connection on which anything stands behind an
/// answer is not used again. Follows no redirect.
///
/// Thread safety: exchange() is called by one thread at a time; any thread may call cancel().
class ZEBUTIL_EXPORT HttpSession {
 public:
    struct Request {
        std::string method;  ///< such as "GET" or "POST"
        std::string target;  ///< path and query, percent-encoded
        std::string body;    ///< JSON; empty with "GET"
    };

    struct Answer {
        int status = 0;
        std::string body;
    };

    using Deadline = std::chrono::steady_clock::time_point;

    /// Returns the server's IP addresses, best first, before the deadline. Called when a connection has to be
    /// made; its exceptions end the exchange.
    using Addresses = std::function<std::vector<std::string>(Deadline)>;

    /// @param service whose authority may be pinned; see TlsClientContext
    HttpSession(const BaseUri& server, const std::string& service, Addresses addresses);
    ~HttpSession();
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;

    /// Sends the request and waits for the complete answer. If the kept connection ends within 0.5 s and
    /// before any byte of the answer, a GET, PUT or DELETE is sent once more over a new one. Any other
    /// request fails then, since the server may have executed it: it is sent at most once.
    /// @param deadline      for everything together: addresses, connecting, TLS, sending and the answer
    /// @param largestAnswer of the body, in bytes
    /// @throws std::exception if there is no answer that can be used
    Answer exchange(const Request& request, Deadline deadline, std::size_t largestAnswer);

    /// Ends the exchange under way and makes every later one fail, with a text that begins with "cancelled".
    /// Does not end the call of `addresses`.
    void cancel();

 private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};

}  // namespace zebutil
