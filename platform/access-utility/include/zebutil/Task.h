#pragma once

#include <functional>
#include <string>
#include <utility>

namespace zebutil {

/// A named piece of work. The name appears in the log if the work throws.
class Task {
 public:
    Task() = default;
    Task(std::function<void()> function, const char* name) : function_(std::move(function)), name_(name) {}

    void operator()() const { function_(); }
    const std::string& getName() const { return name_; }

 private:
    std::function<void()> function_;
    std::string name_;
};

}  // namespace zebutil
