#pragma once

#include <memory>
#include <stdexcept>
#include <utility>

namespace zebutil {

/// A value that may be absent. The value stands in a cell of its own, so that an empty Optional is one null
/// pointer whatever `T` is, and `T` may be incomplete where an Optional of it is declared.
///
/// Thread safety: that of a plain value; one object is used by one thread at a time, and read by any number.
template <typename T>
class Optional {
 public:
    using ValueType = T;

    /// Empty.
    Optional() = default;

    /// A copy of `*value`, or empty when `value` is null. `value` need not outlive the call.
    explicit Optional(const T* value) : cell_(value ? std::make_unique<T>(*value) : nullptr) {}

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
    explicit operator bool() const noexcept { return hasValue(); }

    /// The value; the reference is good until the next change of this object.
    /// Throws `std::runtime_error` when there is none.
    const T& getValue() const {
        if (!cell_) {
            throw std::runtime_error("getValue called on uninitialized Optional");
        }
        return *cell_;
    }

    /// Puts a copy of `value` into a new cell. Given a reference to the present cell, it leaves that as it
    /// is.
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

    /// Empties it.
    void reset() noexcept { cell_.reset(); }

 private:
    std::unique_ptr<T> cell_;
};

}  // namespace zebutil
