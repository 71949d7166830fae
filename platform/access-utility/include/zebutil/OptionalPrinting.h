#pragma once

#include <iosfwd>
#include <type_traits>
#include <utility>

namespace zebutil {

template <typename T>
class Optional;

// The stream is a template parameter everywhere: std::ostream is complete only for those who print.
namespace detail {

template <typename T, typename = void>
struct HasToString : std::false_type {};
template <typename T>
struct HasToString<T, std::void_t<decltype(to_string(std::declval<const T&>()))>> : std::true_type {};

template <typename Out, typename T, typename = void>
struct IsStreamable : std::false_type {};
template <typename Out, typename T>
struct IsStreamable<Out, T, std::void_t<decltype(std::declval<Out&>() << std::declval<const T&>())>>
    : std::true_type {};

template <typename T, typename = void>
struct IsList : std::false_type {};
template <typename T>
struct IsList<T, std::void_t<typename T::value_type, typename T::const_iterator>> : std::true_type {};

template <typename Out, typename T>
constexpr bool isPrintable() {
    if constexpr (std::is_convertible_v<Out*, std::ostream*>) {
        if constexpr (HasToString<T>::value || IsStreamable<Out, T>::value) {
            return true;
        } else if constexpr (IsList<T>::value) {
            return isPrintable<Out, typename T::value_type>();
        }
    }
    return false;
}

template <typename Out, typename T>
void print(Out& out, const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        out << (value ? "true" : "false");
    } else if constexpr (HasToString<T>::value) {
        out << to_string(value);
    } else if constexpr (IsStreamable<Out, T>::value) {
        out << value;
    } else {
        const char* separator = "[";
        for (const auto& each : value) {
            out << std::exchange(separator, ", ");
            print(out, each);
        }
        out << (*separator == '[' ? "[]" : "]");
    }
}

}  // namespace detail

/// Prints the value, or "optional invalid" if there is none. A value with a `to_string` that is found by
/// argument-dependent look-up, such as an enumeration of a data object, is printed as that text. A list
/// is printed as "[a, b]". GoogleTest uses this, too; values that cannot be printed it shows as bytes.
template <typename Out, typename T>
std::enable_if_t<detail::isPrintable<Out, T>(), Out&> operator<<(Out& out, const Optional<T>& value) {
    if (value.hasValue()) {
        detail::print(out, value.getValue());
    } else {
        out << "optional invalid";
    }
    return out;
}

}  // namespace zebutil
