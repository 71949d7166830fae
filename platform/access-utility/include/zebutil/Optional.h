#pragma once

#include <zebutil/OptionalPrinting.h>

#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace zebutil {

namespace detail {

template <typename T, typename U>
constexpr bool kIsFallback = std::is_convertible_v<U&&, T> &&
                             (!std::is_same_v<T, bool> || std::is_same_v<std::decay_t<U>, bool>);

}  // namespace detail

/// A value that may be absent. The value is allocated separately, so that an empty Optional is a single null
/// pointer whatever `T` is, and `T` may be incomplete where an Optional of it is declared.
///
/// Two Optionals are equal if both are empty or both have equal values. An Optional equals a value if it has
/// an equal one. An Optional can be printed: see <zebutil/OptionalPrinting.h>.
///
/// Thread safety: that of a plain value. Any number of threads may read one object, but while a thread
/// changes it, no other thread may use it.
template <typename T>
class Optional {
 public:
    using ValueType = T;

    /// Empty.
    Optional() = default;

    /// A copy of `*value`, or empty if `value` is null. `value` need not outlive the call.
    explicit Optional(const T* value) : cell_(value ? std::make_unique<T>(*value) : nullptr) {}

    /// Not made from a value: a literal 0 would be taken for a null pointer, and `Optional<long>(0)` be
    /// empty.
    template <typename U, std::enable_if_t<std::is_arithmetic_v<U> || std::is_enum_v<U>, int> = 0>
    explicit Optional(U value) = delete;

    Optional(const Optional& other) : Optional(other.cell_.get()) {}
    Optional(Optional&& other) noexcept = default;
    ~Optional() = default;

    Optional& operator=(const Optional& other) {
        if (this != &other) {
            cell_ = other.cell_ ? std::make_unique<T>(*other.cell_) : nullptr;
        }
        return *this;
    }
    Optional& operator=(Optional&& other) noexcept = default;

    bool hasValue() const noexcept { return cell_ != nullptr; }
    template <typename U = T, std::enable_if_t<!std::is_same_v<U, bool>, int> = 0>
    explicit operator bool() const noexcept {
        return hasValue();
    }
    /// `if (isOn)` would ask whether there is a value, and reads as if it asked for the value. Use
    /// `hasValue()` for the one and `valueOr(false)` for the other.
    template <typename U = T, std::enable_if_t<std::is_same_v<U, bool>, int> = 0>
    explicit operator bool() const = delete;

    /// The value. The reference stays valid until this object is changed. Throws `std::runtime_error` if
    /// there is no value.
    const T& getValue() const {
        if (!cell_) {
            throw std::runtime_error("getValue called on uninitialized Optional");
        }
        return *cell_;
    }

    /// A copy of the value, or `fallback` if there is no value. Only a boolean stands for a boolean: a text,
    /// for instance, would always be true.
    template <typename U = T, std::enable_if_t<detail::kIsFallback<T, U>, int> = 0>
    T valueOr(U&& fallback) const {
        return cell_ ? *cell_ : static_cast<T>(std::forward<U>(fallback));
    }

    /// Puts a copy of `value` into a new cell. If `value` refers to the current cell, nothing changes.
    void setValue(const T& value) {
        if (&value != cell_.get()) {
            cell_ = std::make_unique<T>(value);
        }
    }
    void setValue(T&& value) {
        if (&value != cell_.get()) {
            cell_ = std::make_unique<T>(std::move(value));
        }
    }

    /// Makes this object empty.
    void reset() noexcept { cell_.reset(); }

 private:
    std::unique_ptr<T> cell_;
};

namespace detail {

template <typename T>
struct IsOptional : std::false_type {};
template <typename T>
struct IsOptional<Optional<T>> : std::true_type {};

/// `bool` if the values can be compared.
template <typename T, typename U>
using Equality = std::enable_if_t<
    std::is_convertible_v<decltype(std::declval<const T&>() == std::declval<const U&>()), bool>, bool>;
/// The same for a value that is compared with an Optional.
template <typename T, typename U>
using EqualityWithValue = Equality<T, std::enable_if_t<!IsOptional<U>::value, U>>;

}  // namespace detail

template <typename T>
detail::Equality<T, T> operator==(const Optional<T>& left, const Optional<T>& right) {
    return left.hasValue() && right.hasValue() ? left.getValue() == right.getValue()
                                               : left.hasValue() == right.hasValue();
}

template <typename T, typename U>
detail::EqualityWithValue<T, U> operator==(const Optional<T>& left, const U& right) {
    return left.hasValue() && left.getValue() == right;
}

template <typename T, typename U>
detail::EqualityWithValue<T, U> operator==(const U& left, const Optional<T>& right) {
    return right == left;
}

template <typename T>
detail::Equality<T, T> operator!=(const Optional<T>& left, const Optional<T>& right) {
    return !(left == right);
}

template <typename T, typename U>
detail::EqualityWithValue<T, U> operator!=(const Optional<T>& left, const U& right) {
    return !(left == right);
}

template <typename T, typename U>
detail::EqualityWithValue<T, U> operator!=(const U& left, const Optional<T>& right) {
    return !(right == left);
}

}  // namespace zebutil
