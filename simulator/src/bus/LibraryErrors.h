#pragma once

#include <stdexcept>

#include "model/BusError.h"

namespace zebbussim {

/// Runs a function and throws the errors of the library in place of `BusError`: `std::invalid_argument` for
/// 400, `std::runtime_error` for all others. Other exceptions pass.
template <typename Function>
auto withLibraryErrors(Function function) {
    try {
        return function();
    } catch (const BusError& error) {
        if (error.number == 400) {
            throw std::invalid_argument(error.what());
        }
        throw std::runtime_error(error.what());
    }
}

}  // namespace zebbussim
