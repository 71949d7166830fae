#pragma once

#include <zeb/CompleteElement.h>
#include <zeb/Export.h>
#include <zeb/IXObject.h>
#include <zeb/XObjectDescriptor.h>
#include <zeb/ZebResponse.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zebutil {
class ILogger;
class ITaskExecutor;
class JsonObject;
}  // namespace zebutil

namespace zeb {

class AccessorRequests;
struct AccessorRequest;
class FaultLog;
class ITpAccess;

/// Performs the resource requests of one service. Shared by the service objects of that service. Any thread
/// may make a request, which returns at once. Its handlers run later on the callback executor, never on the
/// caller's stack. Code that waits for a handler must not run on that executor.
///
/// Of the two handlers of a request, exactly one is called, once, in less than five seconds after the
/// request; none, if the executors are stopped first. Each may be empty: what it would have received is then
/// logged. A request that throws calls no handler.
///
/// An answer has at most 1 MiB, and a list at most 5000 elements; anything larger is a failure. Read larger
/// collections in parts, with a limit and an offset.
///
///     ClampDescriptor descriptor;
///     descriptor.setId("1");
///     service->getAccessor()->findById<Clamp>(
///         descriptor,
///         [](std::shared_ptr<const Clamp> clamp, std::shared_ptr<const zeb::ZebResponse>) { show(*clamp); },
///         [](std::shared_ptr<const zeb::ZebResponse> response) {
///             const auto exception = response->getHttpException();
///             std::cerr << (exception ? exception->what() : response->getBody()) << std::endl;
///         });
class ZEB_EXPORT ZebAccessor {
 public:
    using Response = std::shared_ptr<const ZebResponse>;
    /// Receives the response: its status, or its exception if there was no usable answer.
    using ErrorHandler = std::function<void(Response)>;

    /// @param requestExecutor  runs the requests; each one blocks it until it is answered
    /// @param callbackExecutor runs the handlers
    /// @param faults           logs what is wrong with answers, each cause once; null: one for this accessor.
    ///                         For the platform's own use: applications cannot make one
    ZebAccessor(std::shared_ptr<ITpAccess> access, std::shared_ptr<zebutil::ITaskExecutor> requestExecutor,
                std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor,
                std::shared_ptr<zebutil::ILogger> logger, std::shared_ptr<FaultLog> faults = {});
    ~ZebAccessor();

    /// Looks for the first element that matches the descriptor's filter and, if the descriptor has an id, has
    /// that id. The descriptor of an element that was read filters by all of the values that the element had
    /// then; to read such an element again, use findById().
    /// @param success receives the element, or null if none matches, and the response
    template <typename T>
    void findFirst(typename T::Desctype descriptor,
                   std::function<void(std::shared_ptr<const T>, Response)> success, ErrorHandler error) {
        findFirstUntyped(std::move(descriptor), &makeElement<T>, untyped<T>(std::move(success)),
                         std::move(error));
    }

    /// Looks for all elements that match the descriptor's filter and its id, if it has one, as far as its
    /// query options do not limit them. In the order of the resource, unless a query option sorts them.
    ///
    ///     accessor.findAll<Clamp>(ClampDescriptor(),
    ///                             [](std::vector<std::shared_ptr<const Clamp>> clamps,
    ///                                std::shared_ptr<const zeb::ZebResponse>) { show(clamps); },
    ///                             logError);
    ///
    /// @param success receives the elements, possibly none, and the response. It never receives a part of
    ///                them: if one cannot be read, the request has failed, and the exception says which one
    template <typename T>
    void findAll(typename T::Desctype descriptor,
                 std::function<void(std::vector<std::shared_ptr<const T>>, Response)> success,
                 ErrorHandler error) {
        UntypedListHandler untypedSuccess;
        if (success) {
            untypedSuccess = [success = std::move(success)](UntypedList untypedElements, Response response) {
                std::vector<std::shared_ptr<const T>> elements;
                elements.reserve(untypedElements.size());
                for (auto& element : untypedElements) {
                    elements.push_back(std::static_pointer_cast<const T>(std::move(element)));
                }
                success(std::move(elements), std::move(response));
            };
        }
        findAllUntyped(std::move(descriptor), &makeElement<T>, std::move(untypedSuccess), std::move(error));
    }

    /// Reads the element with the descriptor's id. Its filter is ignored; of its query options, only those
    /// for fields and for expanding count.
    /// @param success receives the element, never null, and the response
    /// @param error   also receives the status 404 if there is no such element
    /// @throws std::exception if the descriptor has no id
    template <typename T>
    void findById(typename T::Desctype descriptor,
                  std::function<void(std::shared_ptr<const T>, Response)> success, ErrorHandler error) {
        findByIdUntyped(std::move(descriptor), &makeElement<T>, untyped<T>(std::move(success)),
                        std::move(error));
    }

    /// Writes the fields that the descriptor has to the element with its id. The element's other fields stay
    /// as they are. Sent at most once, since a second time could undo what somebody else has changed
    /// meanwhile.
    ///
    ///     ClampDescriptor descriptor;
    ///     descriptor.setId("1");
    ///     descriptor.setIsSwitchedOn(true);
    ///     accessor.write<Clamp>(descriptor, {}, logError);
    ///
    /// @param success receives the response. If it is empty, nothing is logged
    /// @param error   if it is called because no answer arrived, the element may have been written
    /// @throws std::exception if the descriptor has no id
    template <typename T>
    void write(const typename T::Desctype& descriptor, std::function<void(Response)> success,
               ErrorHandler error) {
        writeUntyped(descriptor, descriptor.getAsZEBBody(), std::move(success), std::move(error));
    }

    /// The same for all fields that the element has.
    template <typename T>
    void write(const T& element, std::function<void(Response)> success, ErrorHandler error) {
        write<T>(element.getDescriptor(), std::move(success), std::move(error));
    }

    /// Ends every request that has no outcome yet, even if it waits for its turn behind others, and makes
    /// every later one fail: their error handlers receive an exception whose text contains "cancelled".
    /// Called when the service is disconnected and when the registry stops. Returns at once.
    void cancel();

 private:
    using ElementFactory =
        std::function<std::shared_ptr<const IXObject>(std::shared_ptr<zebutil::JsonObject>)>;
    using UntypedSuccessHandler = std::function<void(std::shared_ptr<const IXObject>, Response)>;
    using UntypedList = std::vector<std::shared_ptr<const IXObject>>;
    using UntypedListHandler = std::function<void(UntypedList, Response)>;

    template <typename T>
    static std::shared_ptr<const IXObject> makeElement(std::shared_ptr<zebutil::JsonObject> json) {
        return detail::completeElement<T>(std::move(json));
    }

    template <typename T>
    static UntypedSuccessHandler untyped(std::function<void(std::shared_ptr<const T>, Response)> success) {
        if (!success) {
            return {};
        }
        return [success = std::move(success)](std::shared_ptr<const IXObject> element, Response response) {
            success(std::static_pointer_cast<const T>(std::move(element)), std::move(response));
        };
    }

    void findFirstUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                          UntypedSuccessHandler success, ErrorHandler error);
    void findAllUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                        UntypedListHandler success, ErrorHandler error);
    void findByIdUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                         UntypedSuccessHandler success, ErrorHandler error);
    void writeUntyped(const XObjectDescriptor& descriptor, const std::shared_ptr<zebutil::JsonObject>& body,
                      std::function<void(Response)> success, ErrorHandler error);

    void add(AccessorRequest request, bool hasSuccessHandler);

    std::shared_ptr<AccessorRequests> requests_;
};

}  // namespace zeb
