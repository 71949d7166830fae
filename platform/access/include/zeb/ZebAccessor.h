#pragma once

#include <zeb/Export.h>
#include <zeb/IXObject.h>
#include <zeb/XObjectDescriptor.h>
#include <zeb/ZebResponse.h>

#include <functional>
#include <memory>
#include <string>

namespace zebutil {
class ILogger;
class ITaskExecutor;
class JsonObject;
}  // namespace zebutil

namespace zeb {

class ITpAccess;

/// Performs the resource requests of one service. Shared by the service objects of that service. Any thread
/// may make a request, which returns at once. Its handlers run later on the callback executor, never on the
/// caller's stack. Code that waits for a handler must not run on that executor.
class ZEB_EXPORT ZebAccessor {
 public:
    using ErrorHandler = std::function<void(std::shared_ptr<const ZebResponse>)>;

    /// @param requestExecutor  runs the requests; each one blocks it until it is answered
    /// @param callbackExecutor runs the handlers
    ZebAccessor(std::shared_ptr<ITpAccess> access, std::shared_ptr<zebutil::ITaskExecutor> requestExecutor,
                std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor,
                std::shared_ptr<zebutil::ILogger> logger);
    ~ZebAccessor();

    /// Looks for the first element that matches the descriptor's filter.
    /// @param success receives the element, or null if none matches, and the response
    /// @param error   receives the response: its status, or its exception if there was no usable answer
    template <typename T>
    void findFirst(typename T::Desctype descriptor,
                   std::function<void(std::shared_ptr<const T>, std::shared_ptr<const ZebResponse>)> success,
                   ErrorHandler error) {
        UntypedSuccessHandler untypedSuccess;
        if (success) {
            untypedSuccess = [success = std::move(success)](std::shared_ptr<const IXObject> element,
                                                            std::shared_ptr<const ZebResponse> response) {
                success(std::static_pointer_cast<const T>(std::move(element)), std::move(response));
            };
        }
        findFirstUntyped(
            std::move(descriptor),
            [](std::shared_ptr<zebutil::JsonObject> json) -> std::shared_ptr<const IXObject> {
                return std::make_shared<const T>(std::move(json));
            },
            std::move(untypedSuccess), std::move(error));
    }

    /// Ends every request that has no outcome yet, even if it waits for its turn behind others, and makes
    /// every later one fail: their error handlers receive an exception whose text contains "cancelled".
    /// Called when the service is disconnected and when the registry stops. Returns at once.
    void cancel();

 private:
    using ElementFactory =
        std::function<std::shared_ptr<const IXObject>(std::shared_ptr<zebutil::JsonObject>)>;
    using UntypedSuccessHandler =
        std::function<void(std::shared_ptr<const IXObject>, std::shared_ptr<const ZebResponse>)>;

    void findFirstUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                          UntypedSuccessHandler success, ErrorHandler error);

    struct Request;
    class OpenRequests;
    std::shared_ptr<ITpAccess> access_;
    std::shared_ptr<zebutil::ITaskExecutor> requestExecutor_;
    std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor_;
    std::shared_ptr<zebutil::ILogger> logger_;
    std::shared_ptr<OpenRequests> open_;
};

}  // namespace zeb
