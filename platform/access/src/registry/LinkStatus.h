#pragma once

#include <zeb/ServiceStatus.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zeb {

/// Keeps the status of one service up to date. Used under the registry's lock.
class LinkStatus {
 public:
    using State = ServiceStatus::State;

    explicit LinkStatus(const std::string& service) { status_.service = service; }

    const ServiceStatus& get() const { return status_; }
    bool isConnected() const { return status_.state == State::Connected; }

    /// Whether nothing has failed since the service was connected or the registry was started.
    bool isHopeful() const { return !isConnected() && !isOfFailure_; }

    /// Whether the service waits for its address, and not because the address is refused.
    bool waitsForAddress() const { return status_.state == State::Waiting && !isRefused_; }

    /// @param isHopeful whether nothing has failed so far
    void waitForAddress(std::string why, bool isHopeful) {
        enter(State::Waiting);
        isRefused_ = false;
        isOfFailure_ = !isHopeful;
        status_.reason = std::move(why);
    }

    /// There is an address, but it cannot be used.
    /// @param why the text of the exception that says so
    void refuse(std::string_view why) {
        const std::string reason = "cannot be followed: " + std::string(withoutPrefix(why));
        enter(State::Waiting);
        isRefused_ = true;
        noteFailure(reason, ConnectStep::Address);
    }

    /// The next attempt is made, or planned. While there is a failure to connect to this address, that stays
    /// the reason.
    void connectTo(const std::string& address) {
        const bool hasLookedForAddress = status_.state == State::Waiting;
        if (!isOfFailure_ || hasLookedForAddress || address != status_.address) {
            status_.reason = "connecting to " + address;
            isOfFailure_ = false;
        }
        status_.address = address;
        ++status_.attempts;
        isRefused_ = false;
        enter(State::Connecting);
    }

    void connected() {
        status_.reason.clear();
        isOfFailure_ = false;
        ++status_.connections;
        enter(State::Connected);
    }

    /// The attempt has failed, or the connection has ended.
    /// @param step of an attempt
    void fail(const std::string& why, std::optional<ConnectStep> step) {
        enter(State::Connecting);
        noteFailure(why, step);
    }

    /// It is left for another address, which is no failure.
    void leave(const std::string& why) {
        enter(State::Connecting);
        status_.reason = why;
        isOfFailure_ = true;  // so that it is told
    }

    void stop() { waitForAddress("stopped", false); }

 private:
    static std::string_view withoutPrefix(std::string_view text) {
        constexpr std::string_view kPrefix = "ZebException: ";
        return text.substr(0, kPrefix.size()) == kPrefix ? text.substr(kPrefix.size()) : text;
    }

    void enter(State state) {
        if (status_.state != state) {
            status_.state = state;
            status_.since = ServiceStatus::Clock::now();
        }
    }

    void noteFailure(const std::string& why, std::optional<ConnectStep> step) {
        status_.lastFailedStep = step;
        status_.reason = why;
        status_.lastFailure = why;
        status_.lastFailureAt = ServiceStatus::Clock::now();
        isOfFailure_ = true;
    }

    ServiceStatus status_;
    bool isOfFailure_ = false;  ///< whether `reason` is
    bool isRefused_ = false;
};

}  // namespace zeb
