#pragma once

#include <zeb/Export.h>
#include <zeb/ZebResponse.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zeb {

/// Transport access: sends requests to one service. Each request blocks until the answer has arrived, its
/// deadline has passed, or it was cancelled. Requests are made only on the request executor's thread; any
/// thread may cancel.
class ZEB_EXPORT ITpAccess {
 public:
    /// Pairs of name and value, not yet percent-encoded.
    using Query = std::vector<std::pair<std::string, std::string>>;

    using Deadline = std::chrono::steady_clock::time_point;

    /// How long a request may take from the moment in which it was asked for. Callers wait five seconds.
    static constexpr std::chrono::milliseconds kTimeLimit{4500};

    virtual ~ITpAccess() = default;

    /// Reads the elements of a resource, or only one of them if `id` is not empty.
    /// @param deadline for everything together. A request whose deadline has passed fails at once, without a
    ///                 connection
    /// @throws std::exception if no answer arrived. An answer with an error status is returned like any other
    virtual ZebResponse get(const std::string& resource, const std::string& id, const Query& query,
                            Deadline deadline) = 0;

    /// Merges a JSON object into an element. Sent at most once, since a second time could undo what somebody
    /// else has changed meanwhile. If it fails, it may have been executed.
    /// @throws std::exception if no answer arrived
    virtual ZebResponse post(const std::string& resource, const std::string& id, const std::string& body,
                             Deadline deadline) = 0;

    /// The same for requests that are asked for now.
    ZebResponse get(const std::string& resource, const std::string& id, const Query& query) {
        return get(resource, id, query, Deadline::clock::now() + kTimeLimit);
    }
    ZebResponse post(const std::string& resource, const std::string& id, const std::string& body) {
        return post(resource, id, body, Deadline::clock::now() + kTimeLimit);
    }

    /// Ends the request under way within milliseconds, whatever it waits for, and makes every later one fail
    /// at once, both with an exception that says "cancelled". Called when the service is disconnected and
    /// when the registry stops. Returns at once; may be called more than once. An access that never blocks
    /// has nothing to do here.
    virtual void cancel() {}
};

}  // namespace zeb
