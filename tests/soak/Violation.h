#pragma once

#include <functional>
#include <string>

namespace soak {

/// Reports a broken promise. May be called by any thread.
using Violation = std::function<void(const std::string&)>;

}  // namespace soak
