#pragma once

#include <string>
#include <vector>

#include "ChildProcess.h"
#include "TemporaryDirectory.h"

namespace test_support {

/// `zeb-bus-sim` as a process of its own, until the object is destroyed.
class BusProgram {
 public:
    /// Ready when constructed: it listens.
    /// @param command the program and its arguments, with what runs it in front, if anything does
    /// @throws std::runtime_error when it ends before that, with what it said
    explicit BusProgram(const std::vector<std::string>& command);

    /// "http://127.0.0.1:41234", without a "/" at its end.
    const std::string& baseUri() const { return baseUri_; }
    pid_t id() const { return program_.id(); }

 private:
    std::string outputFile() const;

    TemporaryDirectory directory_;
    ChildProgram program_;
    std::string baseUri_;
};

}  // namespace test_support
