#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "EndReason.h"
#include "LinkOpener.h"
#include "ServiceEndpoint.h"
#include "ServiceLink.h"

namespace zebutil {
class ILogger;
}

namespace zeb {

/// Connects the links of the service registry, and connects them again. Makes the attempts when the schedule
/// of a link allows them, and takes note of what becomes of them: in the status of the link, in the log, and,
/// as queued tasks, for its listeners.
///
/// Owned by the service registry. Used on the executor thread, under the registry's lock, and calls nobody
/// back: the events of a link report to the registry, which then calls connected() or ended(). Each function
/// is called again when there was no memory for it. So it takes note of what it has done at once, and begins
/// with what may fail.
class LinkConnector {
 public:
    using Clock = std::chrono::steady_clock;

    /// @param logger of the registry
    LinkConnector(LinkOpener opener, std::shared_ptr<zebutil::ILogger> logger);

    /// Begins the next attempt to connect `link`, which has no connection, to `endpoint`. The WebSocket makes
    /// the pause that the schedule plans.
    /// @return when to call this again, if there is no WebSocket to make the pause: the system has no
    ///         descriptors or no threads left
    std::optional<Clock::time_point> connect(ServiceLink& link, const ServiceEndpoint& endpoint) const;

    /// The WebSocket of `link` is open: makes its access for requests. Does nothing if the link has it.
    /// @return whether the service is connected; if not, the WebSocket closes and reports its end
    bool connected(ServiceLink& link) const;

    /// The attempt to connect `link` has failed, or its connection was lost or closed. Requests that still
    /// wait for an answer end. The link has no connection any more.
    void ended(ServiceLink& link, const WebsocketEnd& end) const;

    /// The service is no longer to be at the endpoint of `link`, which has a connection or an attempt.
    /// @param endpoint where it is now, if it is anywhere
    /// @param refusal  why its new address is refused; empty if it is not
    /// @return whether the link has no connection any more; if it has, the WebSocket closes and reports its
    ///         end
    static bool moved(ServiceLink& link, const std::optional<ServiceEndpoint>& endpoint,
                      const std::string& refusal);

 private:
    void logEnd(ServiceLink& link, bool wasConnected, const EndReason& reason, bool isUntrusted) const;

    const LinkOpener opener_;
    const std::shared_ptr<zebutil::ILogger> logger_;
};

}  // namespace zeb
