#pragma once

#include <string>
#include <vector>

#include "ChildProcess.h"
#include "TemporaryDirectory.h"

namespace test_support {

/// `zeb-bus-sim` in a child process, which ends when the object is destroyed.
class BusProgram {
 public:
    /// Returns when the program listens.
    /// @param command the program and its arguments, preceded by an emulator if there is one
    /// @throws std::runtime_error with the program's output when it ends early
    explicit BusProgram(const std::vector<std::string>& command);

    /// Like "http://127.0.0.1:41234", without a trailing "/".
    const std::string& baseUri() const { return baseUri_; }
    void pause() const { program_.pause(); }
    void resume() const { program_.resume(); }

 private:
    std::string outputFile() const;

    TemporaryDirectory directory_;
    ChildProgram program_;
    std::string baseUri_;
};

}  // namespace test_support
