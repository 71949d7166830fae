#include "LinkConnector.h"

#include <zeb/ITpAccess.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebException.h>
#include <zebutil/ILogger.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace zeb {

LinkConnector::LinkConnector(LinkOpener opener, std::shared_ptr<zebutil::ILogger> logger)
    : opener_(std::move(opener)), logger_(std::move(logger)) {}

std::optional<LinkConnector::Clock::time_point> LinkConnector::connect(
    ServiceLink& link, const ServiceEndpoint& endpoint) const {
    link.endpoint = endpoint;
    const std::string address = endpoint.address();
    const auto now = Clock::now();
    const auto at = link.schedule.plan(address, now);
    if (link.hasFailedToOpen && at > now) {
        return at;
    }
    link.status.connectTo(address);
    try {
        // Rounded up, so that the attempt does not begin before its time.
        opener_.open(
            link, std::chrono::ceil<std::chrono::milliseconds>(std::max(at - now, Clock::duration::zero())));
        link.hasFailedToOpen = false;
        return std::nullopt;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const ZebException& exception) {
        link.reportError(exception.what());  // the address itself is wrong
        link.status.refuse(exception.what());
        return std::nullopt;
    } catch (const std::exception& exception) {
        const std::string why = std::string("cannot be connected: ") + exception.what();
        link.warn(why + "; trying again until it can");
        link.status.fail(why, ConnectStep::Tcp);  // there is no thread to make it
        link.hasFailedToOpen = true;
        link.schedule.over();
        return link.schedule.plan(address, now);
    }
}

bool LinkConnector::connected(ServiceLink& link) const {
    if (link.isConnected) {
        return true;
    }
    try {
        opener_.openRequests(link);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& exception) {
        // The next attempt may find what is missing now, such as the trust store.
        link.access.reset();
        link.websocketManager->close(exception.what());
        return false;
    }
    link.isConnected = true;
    link.status.connected();
    link.isSettled = false;
    link.connectedSince = Clock::now();
    return true;
}

void LinkConnector::ended(ServiceLink& link, const WebsocketEnd& end) const {
    // It may have failed before it was to be closed.
    const bool isMove = link.moving && link.moving->text() == end.reason;
    const EndReason reason = isMove ? *link.moving : EndReason::failed(end.reason);
    link.settleIfStable();
    if (isMove) {
        link.status.leave(link.isConnected ? reason.ofConnection() : reason.ofAttempt(link.endpoint));
    } else if (link.isConnected) {
        link.status.fail(reason.ofConnection(), std::nullopt);
    } else {
        link.status.fail(reason.ofAttempt(link.endpoint), end.step);
    }
    link.listeners.tellUnavailable(link.status);
    link.listeners.tellDisconnected();
    if (link.isConnected) {
        // What still waits for an answer would wait for its time limit.
        link.access->cancel();
        link.execute("requests cancelled", [accessor = link.accessor] { accessor->cancel(); });
    }
    link.leave();
    // From here on, nothing fails but the log.
    link.schedule.over();
    link.moving.reset();
    link.access.reset();
    link.accessor.reset();
    const bool wasConnected = std::exchange(link.isConnected, false);
    try {
        logEnd(link, wasConnected, reason, end.isUntrusted);
    } catch (const std::bad_alloc&) {
        return;  // There is no memory to say that.
    }
}

void LinkConnector::logEnd(ServiceLink& link, bool wasConnected, const EndReason& reason,
                           bool isUntrusted) const {
    if (wasConnected) {
        link.warn(reason.ofConnection());
        return;
    }
    const std::string where = reason.ofAttempt(link.endpoint);
    if (isUntrusted) {
        link.reportError(where);
    } else if (reason.isFailure()) {
        link.warn(where + "; trying again until it is");
    } else {
        logger_->debug("service \"" + link.name + "\" " + where);
    }
}

bool LinkConnector::moved(ServiceLink& link, const std::optional<ServiceEndpoint>& endpoint,
                          const std::string& refusal) {
    if (link.isConnected || link.schedule.hasBegun(Clock::now())) {
        // The connection itself reports its end, after everything that it has received.
        EndReason reason = EndReason::moved(link.endpoint, endpoint, refusal);
        link.websocketManager->close(reason.text());
        link.moving = std::move(reason);
        return false;
    }
    // There is no connection yet. The pause goes on, however often the address changes.
    link.websocketManager->stop();
    link.leave();
    return true;
}

}  // namespace zeb
