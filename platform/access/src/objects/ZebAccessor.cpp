#include <zeb/ITpAccess.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebException.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonObject.h>
#include <zebutil/StopHandler.h>

#include <chrono>
#include <utility>

namespace zeb {

namespace {

constexpr const char* kFindFirst = "ZebAccessor::findFirst(): ";
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

// The first element of an answer, or null if there is none. It is a document of its own, so that it does not
// keep the rest of the answer.
std::shared_ptr<zebutil::JsonObject> firstElement(const std::string& answer) {
    const auto data = zebutil::JsonObject::parse(answer)->getArray("data");
    return data->size() == 0 ? nullptr : zebutil::JsonObject::parse(data->getObject(0)->toString());
}

}  // namespace

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

    static void run(const std::shared_ptr<Request>& self) {
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
            if (auto json = firstElement(response->getBody())) {
                element = self->elementFactory(std::move(json));
                if (!element->getId()) {
                    self->logger->warning(kFindFirst + readable(self->descriptor) +
                                          " was answered with an element without \"id\"");
                }
            } else {
                self->logger->warning(kFindFirst + readable(self->descriptor) + " matched no element");
            }
        } catch (const std::exception& exception) {
            response->setHttpException(
                std::make_shared<ZebException>("find first failed", "unknown", &exception));
            fail(self, response, "findFirst: exception error occurred but no error callback given");
            return;
        } catch (...) {
            response->setHttpException(std::make_shared<ZebException>(
                "find first failed with something that is not a std::exception"));
            fail(self, response, "findFirst: exception error occurred but no error callback given");
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

    static void fail(const std::shared_ptr<Request>& self, const std::shared_ptr<const ZebResponse>& response,
                     const char* messageWithoutHandler) {
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
      logger_(std::move(logger)) {}

ZebAccessor::~ZebAccessor() = default;

void ZebAccessor::findFirstUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                                   UntypedSuccessHandler success, ErrorHandler error) {
    // Begins here, not with the request's turn: the caller already waits.
    const auto deadline = std::chrono::steady_clock::now() + ITpAccess::kTimeLimit;
    const std::string name = kFindFirst + descriptor.getServiceName() + "/" + descriptor.getResourceName();
    const bool hasSuccessHandler = static_cast<bool>(success);
    const auto request = std::make_shared<Request>(Request{std::move(descriptor), std::move(elementFactory),
                                                           std::move(success), std::move(error), access_,
                                                           deadline, callbackExecutor_, logger_});
    requestExecutor_->add([request] { Request::run(request); }, name.c_str());
    if (!hasSuccessHandler) {
        logger_->error(std::string(kFindFirst) + "missing success callback");
    }
}

}  // namespace zeb
