#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

/// The notifications of one subscription. Everything but the sequence number is prepared in advance, so the
/// server does not limit a flood.
class NotificationFrame {
 public:
    NotificationFrame(std::size_t elementId, std::size_t elementSize, const std::string& subscriptionId);

    /// Appends the frame of the next notification.
    void appendNext(std::string& out, bool isSwitchedOn);

 private:
    std::string begin_;
    std::string endWhenOn_;
    std::string endWhenOff_;
    std::int64_t seq_ = 0;
};

}  // namespace bench
