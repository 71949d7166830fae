#include <internal/EscapedText.h>
#include <internal/UntilThereIsMemory.h>
#include <zeb/Service.h>
#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>
#include <zebutil/StopHandler.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "ElementList.h"

namespace zeb {

namespace {

// A second. A large list may need more memory than there will ever be.
constexpr int kTriesToRead = 50;

// The text of the exception that is being handled.
std::string textOfException() {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return "out of memory";  // so short that it needs none
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "something that is not a std::exception was thrown";
    }
}

/// Tells the user of notifications that cannot be read.
class UnreadableEvent {
 public:
    /// Null if the user has no handler for it, which costs a subscription nothing.
    static std::shared_ptr<const UnreadableEvent> of(SubscriptionEvents::Handler handler,
                                                     const std::string& path) {
        return handler ? std::make_shared<const UnreadableEvent>(std::move(handler), path) : nullptr;
    }

    UnreadableEvent(SubscriptionEvents::Handler handler, const std::string& path)
        : handler_(std::move(handler)), path_(internal::escapedText(path, kMostShown)) {}

    /// Called while the exception is being handled, which is logged when it is thrown again.
    void report() const {
        const std::string reason = why();
        try {
            handler_(reason);
        } catch (...) {
            throw ZebException(reason + "; the handler of this event threw: " + textOfException(), path_);
        }
    }

 private:
    // A long path must not push the reason out of the text.
    static constexpr std::size_t kMostShown = 100;

    std::string why() const {
        try {
            return internal::escapedText("a notification of " + path_ +
                                         " cannot be read: " + textOfException());
        } catch (const std::bad_alloc&) {
            return "out of memory";
        }
    }

    const SubscriptionEvents::Handler handler_;
    const std::string path_;
};

// Calls `handler` with what `read` makes of a notification. What the handler throws does not count as
// unreadable.
template <typename Read, typename Handler>
IWebsocketManager::DataHandler dataHandler(Read read, Handler handler,
                                           std::shared_ptr<const UnreadableEvent> unreadable) {
    return [read = std::move(read), handler = std::move(handler),
            unreadable = std::move(unreadable)](std::string_view data) {
        decltype(read(data)) state;
        try {
            // Otherwise the state would be lost until it changes.
            bool isRead = false;
            internal::untilThereIsMemory(
                [&] {
                    state = read(data);
                    isRead = true;
                },
                zebutil::StopHandler::isStopped, kTriesToRead);
            if (!isRead) {
                return;  // stopped
            }
        } catch (...) {
            if (unreadable) {
                unreadable->report();
            }
            throw;
        }
        handler(std::move(state));
    };
}

}  // namespace

Service::Service(std::shared_ptr<ZebAccessor> accessor, std::shared_ptr<IWebsocketManager> websocketManager)
    : accessor_(std::move(accessor)), websocketManager_(std::move(websocketManager)) {}

Service::~Service() = default;

std::shared_ptr<Subscription> Service::subscribeUntyped(const XObjectDescriptor& descriptor,
                                                        ElementFactory elementFactory, ElementHandler handler,
                                                        SubscriptionEvents events) {
    const std::string path = descriptor.getRelativeUri();
    // An empty id would be the address of the collection.
    if (!descriptor.getId() || descriptor.getId().getValue().empty()) {
        throw ZebException("cannot subscribe to an element without an id: " + path,
                           descriptor.getServiceName());
    }
    const auto read = [elementFactory](std::string_view data) -> std::shared_ptr<const void> {
        return data == "null" ? nullptr : elementFactory(zebutil::JsonObject::parse(data));
    };
    return websocketManager_->subscribe(
        path, descriptor.getId().getValue(),
        dataHandler(read, std::move(handler), UnreadableEvent::of(std::move(events.unreadable), path)),
        std::move(events.ended));
}

std::shared_ptr<Subscription> Service::subscribeCollectionUntyped(const XObjectDescriptor& descriptor,
                                                                  ElementFactory elementFactory,
                                                                  ListHandler handler,
                                                                  SubscriptionEvents events) {
    const std::string path = descriptor.getRelativeUri();
    if (descriptor.getId() || !descriptor.getFilter().isEmpty() || !descriptor.getQueryOptions().isEmpty()) {
        throw ZebException("cannot subscribe to a part of a collection: the descriptor of " + path +
                               " must have no id, no filter and no query options",
                           descriptor.getServiceName());
    }
    const auto read = [elementFactory](std::string_view data) { return readElements(data, elementFactory); };
    return websocketManager_->subscribe(
        path, {},
        dataHandler(read, std::move(handler), UnreadableEvent::of(std::move(events.unreadable), path)),
        std::move(events.ended));
}

}  // namespace zeb
