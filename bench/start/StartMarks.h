#pragma once

#include <JsonText.h>
#include <MonotonicClock.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace start {

/// When a contestant reached each mark, in nanoseconds since its start. The launcher passes the start time as
/// the first argument.
class StartMarks {
 public:
    explicit StartMarks(const char* launchedAt) : launchedAt_(std::strtoll(launchedAt, nullptr, 10)) {}

    /// @param time as returned by bench::monotonicNanoseconds()
    void add(const std::string& name, std::int64_t time) { marks_.add(name, time - launchedAt_); }
    void print() const { bench::tell("marks", marks_); }

 private:
    const std::int64_t launchedAt_;
    bench::JsonText marks_;
};

}  // namespace start
