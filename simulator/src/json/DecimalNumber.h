#pragma once

#include <cstdint>
#include <string_view>

namespace zebbussim {

/// A JSON number of any size, without loss. Refers to its text.
class DecimalNumber {
 public:
    DecimalNumber() = default;
    /// `text` is a JSON number.
    explicit DecimalNumber(std::string_view text);

    /// Less than 0, 0 or more than 0. 1, 1.0 and 10e-1 are equal. Exponents of more than 15 digits count as
    /// equal.
    int compare(const DecimalNumber& other) const;

 private:
    int compareDigits(const DecimalNumber& other) const;

    int sign_ = 0;                ///< -1, 0 or 1
    std::int64_t magnitude_ = 0;  ///< the power of ten of the first digit
    std::string_view digits_;     ///< perhaps with a point; neither the first nor the last is 0
};

}  // namespace zebbussim
