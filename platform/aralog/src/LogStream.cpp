#include <ara/log/log_stream.h>
#include <ara/log/logger.h>

#include <array>
#include <charconv>

#include "ApplicationLog.h"
#include "LineFormat.h"
#include "TextOutput.h"

namespace ara::log {

LogStream::LogStream(LogLevel level, const Logger& logger) noexcept
    : logger_(logger), level_(level), enabled_(logger.IsEnabled(level)) {}

LogStream::~LogStream() {
    if (enabled_) {
        ApplicationLog::instance().write(logger_.state_, level_, text_);
    }
}

void LogStream::append(std::string_view text) noexcept {
    if (!enabled_) {
        return;
    }
    try {
        text_.append(text);
    } catch (...) {
        complain("a record is lost: no memory for its text");
        enabled_ = false;
    }
}

template <typename Number>
LogStream& LogStream::appendNumber(Number value) noexcept {
    if (enabled_) {
        std::array<char, 32> digits;  // to_chars writes at most 24 characters for a double
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        append(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
    }
    return *this;
}

LogStream& LogStream::operator<<(const char* text) noexcept {
    if (enabled_) {
        append(text != nullptr ? std::string_view(text) : "(null)");
    }
    return *this;
}

LogStream& LogStream::operator<<(std::string_view text) noexcept {
    append(text);
    return *this;
}

LogStream& LogStream::operator<<(bool value) noexcept {
    append(value ? "true" : "false");
    return *this;
}

LogStream& LogStream::operator<<(char character) noexcept {
    append(std::string_view(&character, 1));
    return *this;
}

LogStream& LogStream::operator<<(signed char value) noexcept {
    return appendNumber(static_cast<int>(value));
}

LogStream& LogStream::operator<<(unsigned char value) noexcept {
    return appendNumber(static_cast<int>(value));
}

LogStream& LogStream::operator<<(short value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(unsigned short value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(int value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(unsigned int value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(long value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(unsigned long value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(long long value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(unsigned long long value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(float value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(double value) noexcept {
    return appendNumber(value);
}

LogStream& LogStream::operator<<(LogHex hex) noexcept {
    if (enabled_) {
        std::array<char, 18> digits = {'0', 'x'};
        const auto end = std::to_chars(digits.data() + 2, digits.data() + digits.size(), hex.value, 16).ptr;
        append(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
    }
    return *this;
}

LogStream& LogStream::operator<<(const void* address) noexcept {
    return *this << HexFormat(reinterpret_cast<std::uintptr_t>(address));
}

LogStream& LogStream::operator<<(LogLevel level) noexcept {
    append(levelName(level));
    return *this;
}

}  // namespace ara::log
