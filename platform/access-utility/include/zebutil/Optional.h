#pragma once

#include <memory>
#include <stdexcept>
#include <utility>

namespace zebutil {

/// A value that may be absent. The value is allocated separately, so that an empty Optional is a single null
/// pointer whatever `T` is, and `T` may be incomplete where an Optional of it is declared.
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

    /// The value. The reference stays valid until this object is changed. Throws `std::runtime_error` if
    /// there is no value.
    const T& getValue() const {
        if (!cell_) {
            throw std::runtime_error("getValue called on uninitialized Optional");
        }
        return *cell_;
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

}  // namespace zebutil
