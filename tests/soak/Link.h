#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace soak {

/// One end of a connection between two processes for lines of text. One thread may receive, any thread may
/// send.
class Link {
 public:
    /// Owns the socket.
    explicit Link(int socket) : socket_(socket) {}
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// False when the other end is closed.
    bool send(const std::string& line);
    /// The next line, or none when the time is over. `isOver()` then tells whether more can arrive.
    std::optional<std::string> receive(std::chrono::milliseconds limit);
    bool isOver() const { return isOver_; }

 private:
    const int socket_;
    std::mutex sending_;
    std::string received_;
    bool isOver_ = false;
};

/// A child process of this same program, with its own view of the client's configuration, and a link to it.
class Child {
 public:
    Child(const std::string& configurationFile, const std::vector<std::string>& arguments,
          const std::string& logFile);
    /// Ends the process if it still runs.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    Link& link() { return *link_; }
    /// How it ended: empty for success, "still running" when the time was over.
    std::string wait(std::chrono::milliseconds limit);

    /// The descriptor of the child's end of the link.
    static constexpr int kLinkDescriptor = 9;

 private:
    int process_ = -1;
    std::optional<Link> link_;
};

}  // namespace soak
