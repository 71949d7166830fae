#pragma once

#include <zeb/ITpAccess.h>
#include <zeb/ZebResponse.h>

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zebutil {
class ILogger;
class ITaskExecutor;
}  // namespace zebutil

namespace zeb {

class FaultLog;

/// What tells the operations of an accessor apart in the names of tasks and in messages.
struct AccessorOperation {
    const char* name;         ///< "findFirst"
    const char* failure;      ///< "find first failed"
    const char* successTask;  ///< "findFirst callbackSuccess"
    const char* errorTask;    ///< "findFirst callbackError"

    /// What messages of the operation begin with.
    std::string prefix() const { return std::string("ZebAccessor::") + name + "(): "; }
};

/// What one request asks the server, and what it makes of the answer.
struct AccessorRequest {
    using Response = std::shared_ptr<const ZebResponse>;

    AccessorOperation operation;
    std::string serviceAndResource;  ///< "ClampControl/clamps", for the name of its task
    std::string path;                ///< what was asked for, in messages
    /// Sends it and waits for the answer; on the request executor.
    std::function<ZebResponse(ITpAccess&, ITpAccess::Deadline)> exchange = {};
    /// Reads an answer with status 200, on the request executor, and returns the call of the success handler.
    /// What it throws is the failure of the request.
    std::function<std::function<void()>(const Response&)> read = {};
    std::function<void(Response)> error = {};  ///< the error handler, or empty
};

/// The requests of one accessor. Performs each on the request executor, within the time limit that begins
/// when it is asked for. Calls exactly one of its handlers on the callback executor, unless the executors are
/// stopped first. Owned by the accessor. Any thread may use it.
class AccessorRequests {
 public:
    /// @param faults logs what is wrong with the answers; null: one of its own
    AccessorRequests(std::shared_ptr<ITpAccess> access,
                     std::shared_ptr<zebutil::ITaskExecutor> requestExecutor,
                     std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor,
                     std::shared_ptr<zebutil::ILogger> logger, std::shared_ptr<FaultLog> faults);

    void add(AccessorRequest request);

    /// Ends every request that has no outcome yet, and each later one.
    void cancel();

    const std::shared_ptr<zebutil::ILogger>& logger() const { return logger_; }
    const std::shared_ptr<FaultLog>& faults() const { return faults_; }

 private:
    struct Open;

    /// The requests that exist, so that those without an outcome can be ended whatever their tasks wait for.
    /// Shared with the requests, which may live longer than the accessor.
    class OpenRequests {
     public:
        // Whether end() will return it, because it has not been called yet.
        bool add(const std::shared_ptr<Open>& request);
        void remove(const Open* request);
        // Returns them. Each later one is refused.
        std::vector<std::shared_ptr<Open>> end();

     private:
        std::mutex mutex_;
        bool areEnded_ = false;
        std::map<const Open*, std::weak_ptr<Open>> requests_;
    };

    const std::shared_ptr<ITpAccess> access_;
    const std::shared_ptr<zebutil::ITaskExecutor> requestExecutor_;
    const std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor_;
    const std::shared_ptr<zebutil::ILogger> logger_;
    const std::shared_ptr<FaultLog> faults_;
    const std::shared_ptr<OpenRequests> open_;
};

}  // namespace zeb
