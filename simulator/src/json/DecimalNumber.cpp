#include "DecimalNumber.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace zebbussim {

namespace {

constexpr std::string_view kNotZero = "123456789";

/// The exponent in "e-7"; 0 for an empty text.
std::int64_t exponentOf(std::string_view text) {
    constexpr std::int64_t kMaximum = 999'999'999'999'999;
    const std::string_view number = text.substr(text.size() > 1 && text[1] == '+' ? 2 : text.empty() ? 0 : 1);
    std::int64_t exponent = 0;
    const auto error = std::from_chars(number.data(), number.data() + number.size(), exponent).ec;
    if (error == std::errc::result_out_of_range) {
        return number.front() == '-' ? -kMaximum : kMaximum;
    }
    return std::clamp(exponent, -kMaximum, kMaximum);
}

}  // namespace

DecimalNumber::DecimalNumber(std::string_view text) {
    const bool isNegative = text.front() == '-';
    const std::size_t exponent = std::min(text.find_first_of("eE"), text.size());
    const std::string_view mantissa = text.substr(0, exponent);
    const std::size_t first = mantissa.find_first_of(kNotZero);
    if (first == std::string_view::npos) {
        return;
    }
    sign_ = isNegative ? -1 : 1;
    digits_ = mantissa.substr(first, mantissa.find_last_of(kNotZero) + 1 - first);
    const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
    const auto place = point - static_cast<std::int64_t>(first);
    magnitude_ = exponentOf(text.substr(exponent)) + (place > 0 ? place - 1 : place);
}

int DecimalNumber::compare(const DecimalNumber& other) const {
    if (sign_ != other.sign_) {
        return sign_ - other.sign_;
    }
    if (magnitude_ != other.magnitude_) {
        return magnitude_ < other.magnitude_ ? -sign_ : sign_;
    }
    return sign_ * compareDigits(other);
}

int DecimalNumber::compareDigits(const DecimalNumber& other) const {
    const auto next = [](std::string_view& digits) {
        digits.remove_prefix(!digits.empty() && digits.front() == '.' ? 1 : 0);
        const char digit = digits.empty() ? '\0' : digits.front();  // which is less than every digit
        digits.remove_prefix(digits.empty() ? 0 : 1);
        return digit;
    };
    std::string_view left = digits_;
    std::string_view right = other.digits_;
    while (!left.empty() && !right.empty()) {
        const int difference = next(left) - next(right);
        if (difference != 0) {
            return difference < 0 ? -1 : 1;
        }
    }
    return static_cast<int>(!left.empty()) - static_cast<int>(!right.empty());
}

}  // namespace zebbussim
