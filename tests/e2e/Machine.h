#pragma once

#include <FailingThreads.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace e2e {

/// What the machine below the client may refuse: answers to a name look-up, file descriptors, threads.
/// Affects this process only. The destructor ends everything except private name look-ups.
class Machine {
 public:
    ~Machine();

    // --- names ---

    /// Gives the process its own look-up of names: none but those of nameHas() is known, and questions about
    /// others go to a server that never answers. Call it before the first look-up.
    /// @throws std::runtime_error without the right to mount a file or to use port 53
    void takeOverNames();
    /// The name has these addresses, in this order.
    void nameHas(const std::string& name, const std::vector<std::string>& addresses) const;
    /// Waits until somebody has asked the silent server. Returns false when the time is over.
    bool waitForQuestion(std::chrono::milliseconds limit) const;

    // --- file descriptors ---

    /// Uses up every file descriptor of the process.
    void takeDescriptors();
    void giveDescriptorsBack();

    // --- threads ---

    void refuseThreads() { failingThreads_ = std::make_unique<test_support::FailingThreads>(); }
    void allowThreads() { failingThreads_.reset(); }

 private:
    std::string directory_;  ///< of the files that replace those in /etc
    int nameServer_ = -1;
    std::vector<int> descriptors_;
    std::unique_ptr<test_support::FailingThreads> failingThreads_;
};

}  // namespace e2e
