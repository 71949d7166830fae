#include "AccessorRequests.h"

#include <zeb/ZebException.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/StopHandler.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "log/FaultLog.h"
#include "tasks/UntilThereIsMemory.h"

namespace zeb {

namespace {

constexpr const char* kCancelled = "cancelled: the service is disconnected or the client stops";
constexpr int kStatusOk = 200;

}  // namespace

bool AccessorRequests::OpenRequests::add(const std::shared_ptr<Open>& request) {
    const std::lock_guard lock(mutex_);
    requests_.emplace(request.get(), request);
    return !areEnded_;
}

void AccessorRequests::OpenRequests::remove(const Open* request) {
    const std::lock_guard lock(mutex_);
    requests_.erase(request);
}

std::vector<std::shared_ptr<AccessorRequests::Open>> AccessorRequests::OpenRequests::end() {
    std::vector<std::shared_ptr<Open>> requests;
    const std::lock_guard lock(mutex_);
    areEnded_ = true;
    requests.reserve(requests_.size());
    for (const auto& [address, request] : requests_) {
        // One that is being destroyed waits for the mutex.
        if (auto open = request.lock()) {
            requests.push_back(std::move(open));
        }
    }
    return requests;
}

// A request in progress. The request function and its two possible callbacks share it.
struct AccessorRequests::Open {
    AccessorRequest request;
    std::shared_ptr<ITpAccess> access;
    ITpAccess::Deadline deadline;
    std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor;
    std::shared_ptr<zebutil::ILogger> logger;
    std::shared_ptr<FaultLog> faults;
    std::shared_ptr<OpenRequests> open;
    std::atomic<bool> hasOutcome = false;

    ~Open() { open->remove(this); }

    static void run(const std::shared_ptr<Open>& self) {
        if (self->hasOutcome) {
            return;  // cancelled before its turn
        }
        AccessorRequest::Response response;
        std::function<void()> success;
        try {
            response = exchange(self);
            if (response->getStatusCode() == kStatusOk) {
                success = self->request.read(response);
            }
        } catch (const std::exception& exception) {
            untilThereIsMemory([&] { fail(self, exception); });
            return;
        } catch (...) {
            untilThereIsMemory([&] {
                fail(self, std::make_shared<ZebException>(std::string(self->request.operation.failure) +
                                                          " with something that is not a std::exception"));
            });
            return;
        }
        untilThereIsMemory([&] {
            success ? end(self, success, self->request.operation.successTask) : refuse(self, response);
        });
    }

    static AccessorRequest::Response exchange(const std::shared_ptr<Open>& self) {
        const zebutil::StopHandler cancelWhenStopped([access = self->access] { access->cancel(); });
        return std::make_shared<ZebResponse>(self->request.exchange(*self->access, self->deadline));
    }

    // With another status than that of success.
    static void refuse(const std::shared_ptr<Open>& self, const AccessorRequest::Response& response) {
        // The body may be another each time.
        const std::string cause = self->request.operation.prefix() + self->request.path +
                                  " was answered with status " + std::to_string(response->getStatusCode());
        self->faults->warning(cause, cause + ": " + response->getBody().substr(0, 500));
        fail(self, response, ": error occurred but no error callback given");
    }

    static void fail(const std::shared_ptr<Open>& self, const std::exception& cause) {
        fail(self, std::make_shared<ZebException>(self->request.operation.failure, "unknown", &cause));
    }

    static void fail(const std::shared_ptr<Open>& self, const std::shared_ptr<ZebException>& exception) {
        auto response = std::make_shared<ZebResponse>();
        response->setHttpException(exception);
        fail(self, response, ": exception error occurred but no error callback given");
    }

    static void fail(const std::shared_ptr<Open>& self, const AccessorRequest::Response& response,
                     const char* messageWithoutHandler) {
        if (self->request.error) {
            end(
                self, [self, response] { self->request.error(response); }, self->request.operation.errorTask);
        } else if (!self->hasOutcome.exchange(true)) {
            self->logger->error(self->request.operation.name + std::string(messageWithoutHandler));
        }
    }

    // Queues the call of a handler, unless the request has its outcome already.
    static void end(const std::shared_ptr<Open>& self, std::function<void()> callHandler, const char* task) {
        if (self->hasOutcome.exchange(true)) {
            return;
        }
        try {
            self->callbackExecutor->add(std::move(callHandler), task);
        } catch (...) {
            self->hasOutcome = false;
            throw;
        }
    }

    // Without memory, the request ends in its turn, which comes soon: what it waits for is cancelled, too.
    static void cancel(const std::shared_ptr<Open>& self) {
        try {
            fail(self, std::runtime_error(kCancelled));
        } catch (const std::bad_alloc&) {
            return;
        }
    }
};

AccessorRequests::AccessorRequests(std::shared_ptr<ITpAccess> access,
                                   std::shared_ptr<zebutil::ITaskExecutor> requestExecutor,
                                   std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor,
                                   std::shared_ptr<zebutil::ILogger> logger, std::shared_ptr<FaultLog> faults)
    : access_(std::move(access)),
      requestExecutor_(std::move(requestExecutor)),
      callbackExecutor_(std::move(callbackExecutor)),
      logger_(std::move(logger)),
      faults_(faults ? std::move(faults) : std::make_shared<FaultLog>(logger_)),
      open_(std::make_shared<OpenRequests>()) {}

void AccessorRequests::add(AccessorRequest request) {
    // Begins here, not with the request's turn: the caller already waits.
    const auto deadline = std::chrono::steady_clock::now() + ITpAccess::kTimeLimit;
    const std::string task = request.operation.prefix() + request.serviceAndResource;
    const std::shared_ptr<Open> open(
        new Open{std::move(request), access_, deadline, callbackExecutor_, logger_, faults_, open_});
    const bool isOpen = open_->add(open);
    requestExecutor_->add([open] { Open::run(open); }, task.c_str());
    if (!isOpen) {
        Open::cancel(open);
    }
}

void AccessorRequests::cancel() {
    access_->cancel();
    for (const auto& open : open_->end()) {
        Open::cancel(open);
    }
}

}  // namespace zeb
