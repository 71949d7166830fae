#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace soak {

/// One end of a connection between two processes on which lines of text are sent. One thread may receive; any
/// may send.
class Link {
 public:
    /// Owns the socket.
    explicit Link(int socket) : socket_(socket) {}
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// False when the other end is gone.
    bool send(const std::string& line);
    /// The next line; none when the time is over. `isOver()` then says whether another may come.
    std::optional<std::string> receive(std::chrono::milliseconds limit);
    bool isOver() const { return isOver_; }

 private:
    const int socket_;
    std::mutex sending_;
    std::string received_;
    bool isOver_ = false;
};

/// A process of this very program, in its own view of the client's configuration, with a link to it.
class Child {
 public:
    Child(const std::string& configurationFile, const std::vector<std::string>& arguments,
          const std::string& logFile);
    /// Ends it where it still runs.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    Link& link() { return *link_; }
    /// How it ended, empty for well; "still running" when the time was over.
    std::string wait(std::chrono::milliseconds limit);

    /// Where a child finds its end of the link.
    static constexpr int kLinkDescriptor = 9;

 private:
    int process_ = -1;
    std::optional<Link> link_;
};

}  // namespace soak
