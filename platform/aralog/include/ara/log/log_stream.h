#pragma once

#include <ara/log/common.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace ara::log {

class Logger;

/// An unsigned integer that a LogStream writes in lower-case hexadecimal with a leading "0x".
struct LogHex {
    std::uint64_t value;
};

/// Formats a value in hexadecimal; a negative one as its two's complement of the same width.
template <typename Integer>
constexpr LogHex HexFormat(Integer value) noexcept {
    static_assert(std::is_integral_v<Integer>, "HexFormat takes an integer");
    return LogHex{static_cast<std::make_unsigned_t<Integer>>(value)};
}

/// The text of one record. The pieces are joined with nothing between them. The destructor writes the record
/// to every destination that InitLogging chose, if the logger's level admitted it when the stream was
/// created. A record of a disabled level costs one comparison; its pieces are not even formatted.
///
/// Failures: no function throws. If there is no memory for a record, its loss is reported on standard error.
///
/// Thread safety: one stream belongs to one thread. Records of different threads do not mix.
class ARA_LOG_EXPORT LogStream final {
 public:
    /// `logger` must come from CreateLogger.
    LogStream(LogLevel level, const Logger& logger) noexcept;
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;
    ~LogStream();

    /// NUL-terminated text, in UTF-8; a null pointer is written as "(null)".
    LogStream& operator<<(const char* text) noexcept;
    /// Text of a known length, in UTF-8.
    LogStream& operator<<(std::string_view text) noexcept;
    /// "true" or "false".
    LogStream& operator<<(bool value) noexcept;
    /// The character itself.
    LogStream& operator<<(char character) noexcept;
    LogStream& operator<<(signed char value) noexcept;
    LogStream& operator<<(unsigned char value) noexcept;
    LogStream& operator<<(short value) noexcept;
    LogStream& operator<<(unsigned short value) noexcept;
    LogStream& operator<<(int value) noexcept;
    LogStream& operator<<(unsigned int value) noexcept;
    LogStream& operator<<(long value) noexcept;
    LogStream& operator<<(unsigned long value) noexcept;
    LogStream& operator<<(long long value) noexcept;
    LogStream& operator<<(unsigned long long value) noexcept;
    /// The shortest decimal text that reads back as the same value.
    LogStream& operator<<(float value) noexcept;
    LogStream& operator<<(double value) noexcept;
    LogStream& operator<<(LogHex hex) noexcept;
    /// An address, in hexadecimal.
    LogStream& operator<<(const void* address) noexcept;
    /// "off", "fatal", "error", "warn", "info", "debug" or "verbose".
    LogStream& operator<<(LogLevel level) noexcept;

 private:
    void append(std::string_view text) noexcept;
    template <typename Number>
    LogStream& appendNumber(Number value) noexcept;

    const Logger& logger_;
    std::string text_;
    LogLevel level_;
    bool enabled_;
};

}  // namespace ara::log
