#include <csc_logging/CSCLogEntry.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <utility>

namespace csc_logging {

namespace {

/// Converts on the stack and appends once, so that the text grows only once and in place.
template <typename Integer>
void appendNumber(std::string& text, Integer value, int base = 10) {
    // digits10 is the number of digits that always fit. A value may have one more, and a minus sign.
    std::array<char, std::numeric_limits<long>::digits10 + 2> digits;
    static_assert(sizeof(Integer) <= sizeof(long));
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
    text.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

}  // namespace

CSCLogEntry::CSCLogEntry(const std::string& text) : text_(text) {}

CSCLogEntry::CSCLogEntry(std::string&& text) : text_(std::exchange(text, std::string())) {}

CSCLogEntry::CSCLogEntry(const char* text) : text_(text) {}

CSCLogEntry& CSCLogEntry::operator<<(const std::string& text) {
    text_.append(text);
    return *this;
}

CSCLogEntry& CSCLogEntry::operator<<(const char* text) {
    text_.append(text);
    return *this;
}

CSCLogEntry& CSCLogEntry::operator<<(int value) {
    appendNumber(text_, value);
    return *this;
}

CSCLogEntry& CSCLogEntry::operator<<(long value) {
    appendNumber(text_, value);
    return *this;
}

CSCLogEntry& CSCLogEntry::operator<<(unsigned int value) {
    appendNumber(text_, value);
    return *this;
}

CSCLogEntry& CSCLogEntry::operator<<(unsigned short value) {
    appendNumber(text_, value);
    return *this;
}

CSCLogEntry& CSCLogEntry::operator<<(unsigned char value) {
    appendNumber(text_, static_cast<unsigned int>(value));
    return *this;
}

CSCLogEntry& CSCLogEntry::insertAsHex(unsigned char value) {
    text_.append("0x");
    appendNumber(text_, static_cast<unsigned int>(value), 16);
    return *this;
}

}  // namespace csc_logging
