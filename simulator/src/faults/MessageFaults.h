#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace zebbussim {

/// What goes wrong with the WebSocket messages of the bus. Used on the bus's thread.
struct MessageFaults {
    struct Refusal {
        int number = 403;
        std::string message;
    };

    bool isSentTwice = false;
    std::size_t fragmentSize = 0;  ///< of each message, with pings in between; 0: messages are whole
    bool isIdRepeated = false;     ///< a subscription gets the id of the client's latest open one
    std::map<std::string, Refusal> refused;      ///< subscriptions, by path
    std::map<std::string, std::size_t> skipped;  ///< how many notifications are omitted next, by path

    std::optional<Refusal> refusalOf(const std::string& path) const {
        const auto found = refused.find(path);
        return found == refused.end() ? std::nullopt : std::make_optional(found->second);
    }

    /// Whether this notification is omitted. Counts it.
    bool takeSkipped(const std::string& path) {
        const auto found = skipped.find(path);
        if (found == skipped.end()) {
            return false;
        }
        if (--found->second == 0) {
            skipped.erase(found);
        }
        return true;
    }
};

}  // namespace zebbussim
