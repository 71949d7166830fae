#include <zeb/ITpAccess.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebException.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/JsonObject.h>
#include <zebutil/StopHandler.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "FirstElement.h"

namespace zeb {

namespace {

constexpr const char* kFindFirst = "ZebAccessor::findFirst(): ";
constexpr const char* kCancelled = "cancelled: the service is disconnected or the client stops";
constexpr int kStatusOk = 200;

ITpAccess::Query queryOfFirst(const XObjectDescriptor& descriptor) {
    ITpAccess::Query query(descriptor.getFilter().begin(), descriptor.getFilter().end());
    for (const auto& option : descriptor.getQueryOptions()) {
        if (option.first != "$limit") {
            query.push_back(option);
        }
    }
    query.emplace_back("$limit", "1");
    return query;
}

// The request as text for log messages, such as "/ClampControl/clamps?type=Clamp15".
std::string readable(const XObjectDescriptor& descriptor) {
    std::string text = descriptor.getRelativeUri();
    char delimiter = '?';
    for (const auto& [key, value] : descriptor.getFilter()) {
        text.append(1, std::exchange(delimiter, '&')).append(key).append("=").append(value);
    }
    return text;
}

// Whether nobody can ask for the element again.
bool lacksId(const IXObject& element) {
    return !element.getId() || element.getId().getValue().empty();
}

// What the element that lacks an id has instead.
std::string foundInsteadOfId(const zebutil::JsonObject& json) {
    if (!json.has("id")) {
        return "expected a string, found nothing";
    }
    try {
        json.getString("id");
        return "expected a string, found an empty one";
    } catch (const std::exception& reason) {
        return reason.what();
    }
}

}  // namespace

// The requests that exist, so that those without an outcome can be ended whatever their tasks wait for.
class ZebAccessor::OpenRequests {
 public:
    // Whether end() will return it, because it has not been called yet.
    bool add(const std::shared_ptr<Request>& request) {
        const std::lock_guard lock(mutex_);
        requests_.emplace(request.get(), request);
        return !areEnded_;
    }

    void remove(const Request* request) {
        const std::lock_guard lock(mutex_);
        requests_.erase(request);
    }

    // Returns them. Each later one is refused.
    std::vector<std::shared_ptr<Request>> end() {
        std::vector<std::shared_ptr<Request>> requests;
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

 private:
    std::mutex mutex_;
    bool areEnded_ = false;
    std::map<const Request*, std::weak_ptr<Request>> requests_;
};

// A find-first request in progress. The request function and its two possible callbacks share it.
struct ZebAccessor::Request {
    XObjectDescriptor descriptor;
    ElementFactory elementFactory;
    UntypedSuccessHandler success;
    ErrorHandler error;
    std::shared_ptr<ITpAccess> access;
    ITpAccess::Deadline deadline;
    std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor;
    std::shared_ptr<zebutil::ILogger> logger;
    std::shared_ptr<OpenRequests> open;
    std::atomic<bool> hasOutcome = false;

    ~Request() { open->remove(this); }

    static void run(const std::shared_ptr<Request>& self) {
        if (self->hasOutcome) {
            return;  // cancelled before its turn
        }
        auto response = std::make_shared<ZebResponse>();
        std::shared_ptr<const IXObject> element;
        try {
            const zebutil::StopHandler cancelWhenStopped([access = self->access] { access->cancel(); });
            *response = self->access->get(self->descriptor.getResourceName(), {},
                                          queryOfFirst(self->descriptor), self->deadline);
            if (response->getStatusCode() != kStatusOk) {
                self->logger->warning(std::string(kFindFirst) + self->descriptor.getRelativeUri() +
                                      " was answered with status " +
                                      std::to_string(response->getStatusCode()) + ": " +
                                      response->getBody().substr(0, 500));
                fail(self, response, "findFirst: error occurred but no error callback given");
                return;
            }
            if (const auto json = readFirstElement(response->getBody())) {
                element = self->elementFactory(json);
                if (lacksId(*element)) {
                    self->logger->warning(
                        kFindFirst + readable(self->descriptor) +
                        " was answered with an element without a usable \"id\": " + foundInsteadOfId(*json));
                }
            } else {
                self->logger->warning(kFindFirst + readable(self->descriptor) + " matched no element");
            }
        } catch (const std::exception& exception) {
            fail(self, exception);
            return;
        } catch (...) {
            response->setHttpException(std::make_shared<ZebException>(
                "find first failed with something that is not a std::exception"));
            fail(self, response, "findFirst: exception error occurred but no error callback given");
            return;
        }
        if (self->hasOutcome.exchange(true)) {
            return;
        }
        self->callbackExecutor->add(
            [self, element, response] {
                if (self->success) {
                    self->success(element, response);
                }
            },
            "findFirst callbackSuccess");
    }

    static void fail(const std::shared_ptr<Request>& self, const std::exception& cause) {
        auto response = std::make_shared<ZebResponse>();
        response->setHttpException(std::make_shared<ZebException>("find first failed", "unknown", &cause));
        fail(self, response, "findFirst: exception error occurred but no error callback given");
    }

    static void fail(const std::shared_ptr<Request>& self, const std::shared_ptr<const ZebResponse>& response,
                     const char* messageWithoutHandler) {
        if (self->hasOutcome.exchange(true)) {
            return;
        }
        if (!self->error) {
            self->logger->error(messageWithoutHandler);
            return;
        }
        self->callbackExecutor->add([self, response] { self->error(response); }, "findFirst callbackError");
    }
};

ZebAccessor::ZebAccessor(std::shared_ptr<ITpAccess> access,
                         std::shared_ptr<zebutil::ITaskExecutor> requestExecutor,
                         std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor,
                         std::shared_ptr<zebutil::ILogger> logger)
    : access_(std::move(access)),
      requestExecutor_(std::move(requestExecutor)),
      callbackExecutor_(std::move(callbackExecutor)),
      logger_(std::move(logger)),
      open_(std::make_shared<OpenRequests>()) {}

ZebAccessor::~ZebAccessor() = default;

void ZebAccessor::findFirstUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                                   UntypedSuccessHandler success, ErrorHandler error) {
    // Begins here, not with the request's turn: the caller already waits.
    const auto deadline = std::chrono::steady_clock::now() + ITpAccess::kTimeLimit;
    const std::string name = kFindFirst + descriptor.getServiceName() + "/" + descriptor.getResourceName();
    const bool hasSuccessHandler = static_cast<bool>(success);
    const std::shared_ptr<Request> request(new Request{std::move(descriptor), std::move(elementFactory),
                                                       std::move(success), std::move(error), access_,
                                                       deadline, callbackExecutor_, logger_, open_});
    const bool isOpen = open_->add(request);
    requestExecutor_->add([request] { Request::run(request); }, name.c_str());
    if (!isOpen) {
        Request::fail(request, std::runtime_error(kCancelled));
    }
    if (!hasSuccessHandler) {
        logger_->error(std::string(kFindFirst) + "missing success callback");
    }
}

void ZebAccessor::cancel() {
    access_->cancel();
    for (const auto& request : open_->end()) {
        Request::fail(request, std::runtime_error(kCancelled));
    }
}

}  // namespace zeb
