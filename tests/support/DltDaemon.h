#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "ChildProcess.h"
#include "TemporaryDirectory.h"

namespace test_support {

/// A dlt-daemon of the test's own, on loopback with a port that the system picked, with its pipes in a
/// directory of its own, and a dlt-receive that writes down everything it is sent.
class DltDaemon {
 public:
    /// Ready when constructed: dlt-receive is connected. Throws std::runtime_error when it does not get that
    /// far.
    DltDaemon();

    /// What DLT_PIPE_DIR is to be for a process that is to log to this daemon.
    std::string pipeDirectory() const { return directory_.path().string(); }

    /// The lines of dlt-receive so far; one record each, like
    /// "2026/11/20 10:00:00.123456 1234567 000 ECU1 CSC- Clam 4242 log info V 1 [text]".
    std::string received() const;

    /// Whether the text is received within the time limit.
    bool receives(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

    /// Sets the level of one context from outside, 0 (off) to 6 (verbose), as dlt-control does.
    void setLevel(const std::string& application, const std::string& context, int level);

    /// Makes the daemon slow: it reads and answers nothing until it is resumed.
    void pause();
    void resume();

 private:
    TemporaryDirectory directory_;
    std::string port_;
    std::unique_ptr<ChildProgram> daemon_;
    std::unique_ptr<ChildProgram> receiver_;
};

}  // namespace test_support
