#include "JsonPocoNumber.h"

#include <Poco/Exception.h>

#include <charconv>
#include <system_error>

namespace Poco::Dynamic {

namespace {

template <typename T>
T converted(const std::string& text) {
    T number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc()) {
        throw RangeException("The number is too large or too small", text);
    }
    return number;
}

}  // namespace

void VarHolderImpl<zebutil::detail::JsonPocoNumber>::convert(double& number) const {
    number = converted<double>(value_.text);
}

void VarHolderImpl<zebutil::detail::JsonPocoNumber>::convert(float& number) const {
    number = converted<float>(value_.text);
}

}  // namespace Poco::Dynamic
