#pragma once

#include <Poco/Dynamic/VarHolder.h>

#include <string>
#include <typeinfo>
#include <utility>

namespace zebutil::detail {

/// A number in a JSON text that is not a 64-bit integer, kept as it is written there. A conversion to double
/// could change its value and its text.
struct JsonPocoNumber {
    std::string text;
};

}  // namespace zebutil::detail

namespace Poco::Dynamic {

/// Stores a JsonPocoNumber in a Poco tree. It is written out as it was read, and converted to a double on
/// request.
template <>
class VarHolderImpl<zebutil::detail::JsonPocoNumber> : public VarHolder {
 public:
    explicit VarHolderImpl(zebutil::detail::JsonPocoNumber value) : value_(std::move(value)) {}

    const std::type_info& type() const override { return typeid(zebutil::detail::JsonPocoNumber); }
    VarHolder* clone(Placeholder<VarHolder>* place = nullptr) const override {
        return cloneHolder(place, value_);
    }

    bool isNumeric() const override { return true; }
    bool isSigned() const override { return true; }
    bool isInteger() const override { return false; }
    bool isBoolean() const override { return false; }
    bool isString() const override { return false; }

    void convert(std::string& text) const override { text = value_.text; }
    /// Throws `Poco::RangeException` if the number is outside the range of a double.
    void convert(double& number) const override;
    void convert(float& number) const override;

 private:
    const zebutil::detail::JsonPocoNumber value_;
};

}  // namespace Poco::Dynamic
