#include "ProcessLogging.h"

#include <chrono>

namespace csc_logging {

ExitGate processLoggingGate;

namespace {

/// How long the end of the process waits for threads that are inside the logging. A thread that takes longer
/// keeps its logging: the instance is then left to the end of the process instead of being destroyed.
constexpr std::chrono::milliseconds kFarewell{100};

class ProcessInstance {
 public:
    ProcessInstance() = default;
    ProcessInstance(const ProcessInstance&) = delete;
    ProcessInstance& operator=(const ProcessInstance&) = delete;

    ~ProcessInstance() {
        if (processLoggingGate.close(kFarewell)) {
            delete api_;
        }
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

}  // namespace csc_logging
