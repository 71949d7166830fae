#pragma once

#include <Poco/Dynamic/VarHolder.h>

#include <string>
#include <typeinfo>
#include <utility>

namespace zebutil::detail {

/// A number of a JSON text that is no 64-bit integer, as it stands there. A double would be another number,
/// and would print as one.
struct JsonNumber {
    std::string text;
};

}  // namespace zebutil::detail

namespace Poco::Dynamic {

/// How Poco's trees hold one: it is written as it was read, and becomes a double for whoever asks for one.
template <>
class VarHolderImpl<zebutil::detail::JsonNumber> : public VarHolder {
 public:
    explicit VarHolderImpl(zebutil::detail::JsonNumber value) : value_(std::move(value)) {}

    const std::type_info& type() const override { return typeid(zebutil::detail::JsonNumber); }
    VarHolder* clone(Placeholder<VarHolder>* place = nullptr) const override {
        return cloneHolder(place, value_);
    }

    bool isNumeric() const override { return true; }
    bool isSigned() const override { return true; }
    bool isInteger() const override { return false; }
    bool isBoolean() const override { return false; }
    bool isString() const override { return false; }

    void convert(std::string& text) const override { text = value_.text; }
    /// Throws `Poco::RangeException` when it is beyond the doubles.
    void convert(double& number) const override;
    void convert(float& number) const override;

 private:
    const zebutil::detail::JsonNumber value_;
};

}  // namespace Poco::Dynamic
