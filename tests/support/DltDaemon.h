#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "ChildProcess.h"
#include "TemporaryDirectory.h"

namespace test_support {

/// A private dlt-daemon for a test, on a free loopback port and with its pipes in a temporary directory, and
/// a dlt-receive that records everything it receives.
class DltDaemon {
 public:
    /// Returns when dlt-receive is connected. Throws std::runtime_error when that fails.
    DltDaemon();

    /// The value of DLT_PIPE_DIR for a process that logs to this daemon.
    std::string pipeDirectory() const { return directory_.path().string(); }

    /// The lines of dlt-receive so far, one record per line, like "2026/11/20 10:00:00.123456 1234567 000
    /// ECU1 CSC- Clam 4242 log info V 1 [text]".
    std::string received() const;

    /// Waits for the text. Returns false when it is not received within the limit.
    bool receives(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

    /// Sets the level of one context from outside, 0 (off) to 6 (verbose), as dlt-control does.
    void setLevel(const std::string& application, const std::string& context, int level);

    /// Suspends the daemon: it reads and answers nothing until it is resumed.
    void pause();
    void resume();

 private:
    TemporaryDirectory directory_;
    std::string port_;
    std::unique_ptr<ChildProgram> daemon_;
    std::unique_ptr<ChildProgram> receiver_;
};

}  // namespace test_support
