#pragma once

#include <cstdint>

namespace ara::log {

/// The severity of a record, and the limit up to which records are written.
enum class LogLevel : std::uint8_t {
    kOff = 0x00,
    kFatal = 0x01,
    kError = 0x02,
    kWarn = 0x03,
    kInfo = 0x04,
    kDebug = 0x05,
    kVerbose = 0x06,
};

/// Where records go. Modes can be combined: `LogMode::kRemote | LogMode::kConsole`.
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

/// Exports a declaration from libaralog.so; everything else in the library is hidden.
#define ARA_LOG_EXPORT __attribute__((visibility("default")))
