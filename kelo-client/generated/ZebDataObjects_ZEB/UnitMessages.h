#pragma once

#include <zebutil/ILogger.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string_view>

namespace zebobjects_ZEB {

/// Writes the messages of one unit at warning level to a logger of the platform's default logger factory.
/// Thread-safe.
class UnitMessages {
 public:
    enum class Logger {
        perMessage,  ///< creates a logger for each message and releases it
        kept         ///< creates one logger for the first message and writes only if it has warnings enabled
    };
    enum class EndOfFill {
        silent,   ///< a fill that ends early is not reported
        reported  ///< a fill that ends early is reported
    };

    /// `unit` is the name of the logger and of the source file that the messages point to. It is not copied.
    constexpr UnitMessages(const char* unit, Logger logger, EndOfFill endOfFill)
        : unit_(unit), logger_(logger), endOfFill_(endOfFill) {}

    /// `line` is the line of the unit's source file that the message points to. The parts are concatenated
    /// only if the message is written, and once for all `times` that it is written. If the logger throws or
    /// memory runs out, only the message is lost.
    void warning(int line, std::initializer_list<std::string_view> parts, std::size_t times = 1) noexcept;
    /// Reports that a fill ended early, if the unit reports that. `line` as above.
    void reportEndOfFill(int line) noexcept;

 private:
    template <typename Write>
    void withLogger(const Write& write);
    zebutil::ILogger& keptLogger();

    const char* const unit_;
    const Logger logger_;
    const EndOfFill endOfFill_;
    std::once_flag keptLoggerMade_;
    std::unique_ptr<zebutil::ILogger> keptLogger_;
};

}  // namespace zebobjects_ZEB
