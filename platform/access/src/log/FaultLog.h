#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "ToldReasons.h"

namespace zebutil {
class ILogger;
}

namespace zeb {

/// Logs what a peer does wrong, each cause once: what it repeats is logged at debug level only. When a peer
/// makes up more causes than anybody would read, that is logged once, too.
///
/// Owned jointly by those who deal with the peer, and therefore older than its present connection. Any thread
/// may use it.
class FaultLog {
 public:
    explicit FaultLog(std::shared_ptr<zebutil::ILogger> logger);

    /// Logs `text`, as a warning or an error if `cause` is new, which tells causes apart; it contains nothing
    /// that changes from time to time, such as a number.
    /// @return whether the cause is new
    bool warning(std::string_view cause, const std::string& text);
    bool error(std::string_view cause, const std::string& text);

    /// Every cause is new again.
    void forget();

 private:
    using Level = void (zebutil::ILogger::*)(const std::string&);

    bool tell(Level level, std::string_view cause, const std::string& text);

    const std::shared_ptr<zebutil::ILogger> logger_;
    std::mutex mutex_;
    ToldReasons told_;
};

}  // namespace zeb
