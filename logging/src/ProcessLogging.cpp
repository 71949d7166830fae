#include "ProcessLogging.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace csc_logging {

namespace {

/// How long the end of the process waits for threads that are inside the logging. A thread that takes longer
/// keeps its logging: the instance is then left to the end of the process instead of being destroyed.
constexpr std::chrono::milliseconds kFarewell{100};

// Both are constant-initialised and trivially destroyed, so good before and after every static object.
std::atomic<bool> ended{false};
std::atomic<int> visitors{0};

class ProcessInstance {
 public:
    ProcessInstance() = default;
    ProcessInstance(const ProcessInstance&) = delete;
    ProcessInstance& operator=(const ProcessInstance&) = delete;

    ~ProcessInstance() {
        ended.store(true);
        const auto limit = std::chrono::steady_clock::now() + kFarewell;
        while (visitors.load() != 0) {
            if (std::chrono::steady_clock::now() >= limit) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        delete api_;
    }

    CSCLoggingApi& api() noexcept { return *api_; }

 private:
    /// A plain pointer: it goes on leading to an instance that was left, which is thereby no leak.
    CSCLoggingApi* const api_ = new CSCLoggingApi();
};

}  // namespace

CSCLoggingApi& processLogging() {
    static ProcessInstance instance;
    return instance.api();
}

namespace detail {

// Sequentially consistent on both sides: either the visitor sees the end, or the end sees the visitor.
LoggingVisit::LoggingVisit() noexcept {
    visitors.fetch_add(1);
    admitted_ = !ended.load();
}

LoggingVisit::~LoggingVisit() {
    visitors.fetch_sub(1);
}

}  // namespace detail

}  // namespace csc_logging
