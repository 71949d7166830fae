#pragma once

#include <cstdint>

namespace ara::log {

/// How severe a record is, and up to which severity records are written.
enum class LogLevel : std::uint8_t {
    kOff = 0x00,
    kFatal = 0x01,
    kError = 0x02,
    kWarn = 0x03,
    kInfo = 0x04,
    kDebug = 0x05,
    kVerbose = 0x06,
};

/// Where records go. Modes combine: `LogMode::kRemote | LogMode::kConsole`.
enum class LogMode : std::uint8_t {
    kRemote = 0x01,   ///< DLT
    kFile = 0x02,     ///< "<application id>.log" in the directory given to InitLogging
    kConsole = 0x04,  ///< standard error
};

constexpr LogMode operator|(LogMode left, LogMode right) noexcept {
    return static_cast<LogMode>(static_cast<std::uint8_t>(left) | static_cast<std::uint8_t>(right));
}

constexpr LogMode operator&(LogMode left, LogMode right) noexcept {
    return static_cast<LogMode>(static_cast<std::uint8_t>(left) & static_cast<std::uint8_t>(right));
}

}  // namespace ara::log

/// Marks what libaralog gives to its users; everything else stays hidden in it.
#define ARA_LOG_EXPORT __attribute__((visibility("default")))
