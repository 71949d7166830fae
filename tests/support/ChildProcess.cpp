#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

namespace {

bool leaksAreIgnored = false;

}  // namespace

// The leak checker of the address sanitizer calls it, if it is there. The symbol is set by hand, because the
// name is reserved.
extern "C" __attribute__((visibility("default"))) int leakCheckerIsTurnedOff() __asm__(
    "__lsan_is_turned_off");

int leakCheckerIsTurnedOff() {
    return leaksAreIgnored ? 1 : 0;
}

namespace test_support {

void ignoreLeaks() {
    leaksAreIgnored = true;
}

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::system_category(), what);
}

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            fail("pipe2");
        }
        reader = ends[0];
        writer = ends[1];
    }
    int reader = -1;
    int writer = -1;
};

/// Reads what is available from the descriptor; returns false at its end.
bool readSome(int descriptor, std::string& text) {
    std::array<char, 4096> buffer{};
    const ssize_t length = ::read(descriptor, buffer.data(), buffer.size());
    if (length > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(length));
    }
    return length > 0 || (length < 0 && errno == EINTR);
}

void readBoth(int output, int errors, ChildResult& result) {
    std::array<pollfd, 2> waiting = {pollfd{output, POLLIN, 0}, pollfd{errors, POLLIN, 0}};
    while (waiting[0].fd >= 0 || waiting[1].fd >= 0) {
        if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) {
            fail("poll");
        }
        if (waiting[0].fd >= 0 && waiting[0].revents != 0 && !readSome(output, result.output)) {
            waiting[0].fd = -1;
        }
        if (waiting[1].fd >= 0 && waiting[1].revents != 0 && !readSome(errors, result.errors)) {
            waiting[1].fd = -1;
        }
    }
}

/// The process's state as /proc has it: 'R' running, 'S' sleeping, 'T' stopped, ...
char stateOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t endOfName = text.rfind(')');
    if (endOfName == std::string::npos || endOfName + 2 >= text.size()) {
        throw std::runtime_error("there is no process " + std::to_string(process));
    }
    return text[endOfName + 2];
}

bool hasOtherThreads() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads)) > 1;
}

int waitFor(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            fail("waitpid");
        }
    }
    return status;
}

}  // namespace

ChildResult runInChild(const std::function<void()>& work) {
    const Pipe output;
    const Pipe errors;
    const bool canBeCheckedForLeaks = !hasOtherThreads();
    std::fflush(nullptr);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        ::dup2(output.writer, STDOUT_FILENO);
        ::dup2(errors.writer, STDERR_FILENO);
        if (!canBeCheckedForLeaks) {
            ignoreLeaks();
        }
        try {
            work();
        } catch (const std::exception& exception) {
            std::fprintf(stderr, "exception: %s\n", exception.what());
            std::exit(99);
        }
        std::exit(0);
    }

    ::close(output.writer);
    ::close(errors.writer);
    ChildResult result;
    readBoth(output.reader, errors.reader, result);
    ::close(output.reader);
    ::close(errors.reader);
    const int status = waitFor(child);
    result.lifetime =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    }
    return result;
}

ChildProgram::ChildProgram(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment, const std::string& outputFile) {
    // All allocations happen before the fork, since the test may have threads.
    std::vector<std::string> words = arguments;
    std::vector<char*> argumentPointers;
    for (std::string& word : words) {
        argumentPointers.push_back(word.data());
    }
    argumentPointers.push_back(nullptr);
    std::vector<std::string> additions = environment;
    std::vector<char*> environmentPointers;
    for (std::string& addition : additions) {
        environmentPointers.push_back(addition.data());
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        environmentPointers.push_back(*variable);
    }
    environmentPointers.push_back(nullptr);
    const int file = ::open(outputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0) {
        fail(outputFile.c_str());
    }

    process_ = ::fork();
    if (process_ < 0) {
        fail("fork");
    }
    if (process_ == 0) {
        ::dup2(file, STDOUT_FILENO);
        ::dup2(file, STDERR_FILENO);
        ::execvpe(argumentPointers[0], argumentPointers.data(), environmentPointers.data());
        ::_exit(127);
    }
    ::close(file);
}

ChildProgram::~ChildProgram() {
    if (!isRunning()) {
        return;
    }
    ::kill(process_, SIGTERM);
    using std::chrono::milliseconds;
    for (auto waited = milliseconds{0}; waited < milliseconds{5000}; waited += milliseconds{10}) {
        if (!isRunning()) {
            return;
        }
        ::usleep(10'000);
    }
    ::kill(process_, SIGKILL);
    waitFor(process_);
}

void ChildProgram::pause() const {
    if (::kill(process_, SIGSTOP) != 0) {
        fail("cannot stop a child program");
    }
    // Asks the kernel instead of waiting for the child: a process that the test has forked may call this,
    // too, and is not the parent.
    while (stateOf(process_) != 'T') {
        std::this_thread::yield();
    }
}

void ChildProgram::resume() const {
    ::kill(process_, SIGCONT);
}

void ChildProgram::askToEnd() const {
    ::kill(process_, SIGTERM);
}

bool ChildProgram::isRunning() {
    if (!ended_) {
        ended_ = ::waitpid(process_, &status_, WNOHANG) == process_;
    }
    return !ended_;
}

int ChildProgram::wait() {
    if (!ended_) {
        status_ = waitFor(process_);
    }
    ended_ = true;
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

}  // namespace test_support
