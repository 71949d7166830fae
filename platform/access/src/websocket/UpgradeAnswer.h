#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zeb {

/// The server's answer to the request for a WebSocket, up to the end of its header, as it arrives. Skips the
/// interim answers before it (1xx). Knows nothing of sockets.
///
/// Beast's own parser follows behind it, and checks the rest. It would take an interim answer for a refusal,
/// would read the whole body of a refusal, and would lose what comes right behind a large header.
class UpgradeAnswer {
 public:
    /// How much may arrive before the end of the header, interim answers included.
    static constexpr std::size_t kMaximumSize = std::size_t{8} * 1024;

    enum class State {
        Incomplete,  ///< more is needed
        Accepted,    ///< with status 101
        Declined,    ///< with another status; nothing more is to be read
        Unusable     ///< it is too large, or no answer of HTTP/1.1; nothing more is to be read
    };

    /// More has arrived. To be called as long as the state is Incomplete.
    State add(std::string_view bytes);

    State state() const { return state_; }
    int status() const { return status_; }
    /// Whether anything has arrived.
    bool hasBegun() const { return skipped_ > 0 || !bytes_.empty(); }

    /// Once it is accepted: its header, and then what arrived behind it.
    std::string_view header() const { return std::string_view(bytes_).substr(0, headerSize_); }
    std::string_view behind() const { return std::string_view(bytes_).substr(headerSize_); }

 private:
    State readHeader();

    std::string bytes_;        ///< without the interim answers
    std::size_t skipped_ = 0;  ///< size of the interim answers
    std::size_t headerSize_ = 0;
    int status_ = 0;
    State state_ = State::Incomplete;
};

}  // namespace zeb
