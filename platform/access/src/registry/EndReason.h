#pragma once

#include <optional>
#include <string>
#include <utility>

#include "ServiceEndpoint.h"

namespace zeb {

/// Why the connection to a service, or an attempt to make one, has ended, in the words of the log. A plain
/// value.
class EndReason {
 public:
    /// The connection or the attempt has failed.
    static EndReason failed(std::string why) { return EndReason(std::move(why), true); }

    /// The service is to be somewhere else than at `before`, or nowhere.
    /// @param refusal why its new address is refused; empty if it is not
    static EndReason moved(const ServiceEndpoint& before, const std::optional<ServiceEndpoint>& now,
                           const std::string& refusal) {
        if (!refusal.empty()) {
            return EndReason("its new address is refused: " + refusal, false);
        }
        if (!now) {
            return EndReason("it left the service registry", false);
        }
        if (now->address() == before.address()) {
            return EndReason("its configuration has changed", false);
        }
        return EndReason("it moved to " + now->address(), false);
    }

    bool isFailure() const { return isFailure_; }

    /// The reason alone.
    const std::string& text() const { return text_; }

    /// What has happened to the connection.
    std::string ofConnection() const { return "disconnected: " + text_; }

    /// What has happened to the attempt.
    std::string ofAttempt(const ServiceEndpoint& endpoint) const {
        return (isFailure_ ? "not reachable at " : "no longer tried at ") + endpoint.serverBaseUri + ": " +
               text_;
    }

 private:
    EndReason(std::string text, bool isFailure) : text_(std::move(text)), isFailure_(isFailure) {}

    std::string text_;
    bool isFailure_;
};

}  // namespace zeb
