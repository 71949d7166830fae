#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace zebutil::detail {

/// A place in a JSON text that moves forward, and its refusal.
class JsonText {
 public:
    explicit JsonText(std::string_view text) : begin_(text.data()), at_(begin_), end_(begin_ + text.size()) {}

    /// Throws `JsonException` with this place and the reason.
    [[noreturn]] void fail(const char* reason) const;

    bool atEnd() const { return at_ == end_; }
    const char* at() const { return at_; }
    std::size_t bytesLeft() const { return static_cast<std::size_t>(end_ - at_); }
    /// The next byte, or NUL at the end.
    char peek() const { return atEnd() ? '\0' : *at_; }

    void skip(std::size_t count) { at_ += count; }
    void skipTo(const char* place) { at_ = place; }

    /// Skips the next byte if it is this one.
    bool next(char expected) {
        if (atEnd() || *at_ != expected) {
            return false;
        }
        ++at_;
        return true;
    }

    void skipWhiteSpace() {
        while (!atEnd() && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) {
            ++at_;
        }
    }

    const char* end() const { return end_; }

 private:
    const char* begin_;
    const char* at_;
    const char* end_;
};

inline bool isPlainText(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= 0x20 && value < 0x80 && byte != '"' && byte != '\\';
}

/// Skips what stands in a string for itself and takes one byte: all of ASCII except control characters,
/// quotes and backslashes. Eight bytes at a time as long as all of them are plain.
inline const char* endOfPlainText(const char* at, const char* end) {
    constexpr std::uint64_t kOnes = 0x0101010101010101U;
    constexpr std::uint64_t kHighBits = kOnes * 0x80;
    while (end - at >= 8) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, at, 8);
        // A byte that is not plain sets its high bit; one above it may do so, too.
        const std::uint64_t isControl = bytes - kOnes * 0x20;
        const std::uint64_t isQuote = (bytes ^ (kOnes * '"')) - kOnes;
        const std::uint64_t isBackslash = (bytes ^ (kOnes * '\\')) - kOnes;
        if (((bytes | isControl | isQuote | isBackslash) & kHighBits) != 0) {
            break;
        }
        at += 8;
    }
    while (at != end && isPlainText(*at)) {
        ++at;
    }
    return at;
}

}  // namespace zebutil::detail
