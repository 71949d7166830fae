#include "Link.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>
#include <thread>

namespace soak {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

Link::~Link() {
    close(socket_);
}

bool Link::send(const std::string& line) {
    const std::lock_guard lock(sending_);
    std::string rest = line + "\n";
    while (!rest.empty()) {
        const ssize_t sent = ::send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        rest.erase(0, static_cast<std::size_t>(sent));
    }
    return true;
}

std::optional<std::string> Link::receive(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (true) {
        const auto end = received_.find('\n');
        if (end != std::string::npos) {
            std::string line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
        pollfd descriptor{socket_, POLLIN, 0};
        if (isOver_ || poll(&descriptor, 1, static_cast<int>(std::max<long>(left, 0))) <= 0) {
            return std::nullopt;
        }
        std::array<char, 4096> bytes{};
        const ssize_t count = recv(socket_, bytes.data(), bytes.size(), 0);
        if (count > 0) {
            received_.append(bytes.data(), static_cast<std::size_t>(count));
        } else {
            isOver_ = true;
        }
    }
}

Child::Child(const std::string& configurationFile, const std::vector<std::string>& arguments,
             const std::string& logFile) {
    std::array<char, PATH_MAX> program{};
    std::array<int, 2> ends{};
    if (readlink("/proc/self/exe", program.data(), program.size() - 1) < 0 ||
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "a child process");
    }
    link_.emplace(ends[0]);
    std::vector<std::string> words{WITH_CLIENT_CONFIG, configurationFile, "--", program.data()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> command;
    command.reserve(words.size() + 1);
    for (std::string& word : words) {
        command.push_back(word.data());
    }
    command.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawn_file_actions_adddup2(&actions, ends[1], kLinkDescriptor);
    // An inherited copy of a connection of the bus would keep it open.
    for (int descriptor = 3; descriptor < kLinkDescriptor; ++descriptor) {
        posix_spawn_file_actions_addclose(&actions, descriptor);
    }
    posix_spawn_file_actions_addclosefrom_np(&actions, kLinkDescriptor + 1);
    const int error = posix_spawn(&process_, command[0], &actions, nullptr, command.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), words[0]);
    }
}

Child::~Child() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

std::string Child::wait(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    int status = 0;
    while (waitpid(process_, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            return "still running";
        }
        std::this_thread::sleep_for(milliseconds(10));
    }
    process_ = -1;
    if (WIFSIGNALED(status)) {
        return "ended by signal " + std::to_string(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0 ? "" : "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace soak
