#pragma once

#include <array>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>

#include "LiveFeed.h"
#include "server/BusStream.h"
#include "server/Chained.h"

namespace zebbussim {

/// A connection over which a client follows the bus live. Ends when the client closes it, or reads too
/// slowly; a browser connects again then.
///
/// Owned by the server's set of channels and by its own pending operations. Used on the bus's thread.
class LiveChannel : public LiveReader, public Chained, public std::enable_shared_from_this<LiveChannel> {
 public:
    using Ended = std::function<void(const std::shared_ptr<LiveChannel>&)>;

    LiveChannel(BusStream&& stream, LiveFeed& feed, Ended ended);

    void start();
    void close();
    void send(const SharedText& text) override;

 private:
    using ErrorCode = boost::system::error_code;

    template <typename Handler>
    auto linkedTo(const char* activity, Handler handler) {
        return linked(shared_from_this(), activity, std::move(handler));
    }
    void writeNext();
    void readToEnd();

    BusStream stream_;
    LiveFeed& feed_;
    const Ended ended_;
    std::deque<SharedText> queue_;
    std::size_t queueSize_ = 0;
    std::array<char, 256> ignored_{};
    bool isOver_ = false;
};

}  // namespace zebbussim
