#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace test_support {

/// How a child process ended, and its output.
struct ChildResult {
    int exitCode = -1;  ///< -1: ended by a signal
    int signal = 0;     ///< 0: ended by itself
    std::string output;
    std::string errors;
    std::chrono::milliseconds lifetime{0};
};

/// Runs `work` in a forked child, which then calls std::exit(0) and so runs exit handlers and the destructors
/// of statics. For things that exist once per process, such as its logging.
///
/// A leak checker looks for leaks in the child unless this process has other threads: what only they refer to
/// would look like a leak, and the checker would wait for good for a lock that one of them held at the fork.
ChildResult runInChild(const std::function<void()>& work);

/// Called in a child: a leak checker does not look for leaks when this process ends.
void ignoreLeaks();

/// A program that runs beside the test. Destroying the object ends the program.
class ChildProgram {
 public:
    /// `arguments` begin with the program, which is looked up in PATH. `environment` lists additional
    /// variables as "NAME=value". Standard output and error go to the file.
    ChildProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                 const std::string& outputFile);
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;
    ~ChildProgram();

    /// Stops the program (SIGSTOP) and waits until it is stopped.
    void pause() const;
    /// Lets a stopped program go on.
    void resume() const;
    /// Sends it SIGTERM.
    void askToEnd() const;
    bool isRunning();
    /// Waits for the end. Returns the exit code, or -1 after a signal.
    int wait();

 private:
    pid_t process_;
    int status_ = 0;
    bool ended_ = false;
};

}  // namespace test_support
