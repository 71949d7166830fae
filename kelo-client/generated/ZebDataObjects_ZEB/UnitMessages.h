#pragma once

#include <zebutil/ILogger.h>

#include <initializer_list>
#include <memory>
#include <mutex>
#include <string_view>

namespace zebobjects_ZEB {

/// Writes the messages of one unit, at warning level, to the platform's default logger factory. Any thread
/// may call it.
class UnitMessages {
 public:
    enum class Logger {
        perMessage,  ///< a logger is made for each message and released
        kept         ///< one is made at the first message, and asked whether warnings are wanted before each
    };
    enum class EndOfFill {
        silent,   ///< a fill that cannot go on just ends
        reported  ///< and says so
    };

    /// `unit` names the logger and the source that the messages point to; it is a literal.
    constexpr UnitMessages(const char* unit, Logger logger, EndOfFill endOfFill)
        : unit_(unit), logger_(logger), endOfFill_(endOfFill) {}

    /// `line` is that of the field's entry in the unit. The parts make up the text, which is not put together
    /// when nobody wants it. A logger that throws, or too little memory, costs the message and nothing else.
    void warning(int line, std::initializer_list<std::string_view> parts) noexcept;
    void reportEndOfFill(int line) noexcept;

 private:
    zebutil::ILogger& keptLogger();

    const char* const unit_;
    const Logger logger_;
    const EndOfFill endOfFill_;
    std::once_flag keptLoggerMade_;
    std::unique_ptr<zebutil::ILogger> keptLogger_;
};

}  // namespace zebobjects_ZEB
