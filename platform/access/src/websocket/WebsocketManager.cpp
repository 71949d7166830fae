#include "WebsocketManager.h"

#include <zeb/ZebException.h>

#include <chrono>
#include <exception>
#include <new>
#include <utility>

#include "WebsocketAddress.h"
#include "WebsocketSubscription.h"
#include "log/FaultLog.h"
#include "log/ServiceCounters.h"

namespace zeb {

namespace {

using CloseCode = WebsocketStream::CloseCode;

// How long a connection that closes may keep the next one of its service from being opened.
constexpr std::chrono::milliseconds kPatienceOfSuccessor{100};

}  // namespace

WebsocketManager::WebsocketManager(std::shared_ptr<IoThread> ioThread, const WebsocketSettings& settings,
                                   const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                                   std::shared_ptr<zebutil::ILogger> logger, WebsocketObserver observer)
    : ioThread_(std::move(ioThread)),
      settings_(settings),
      faults_(settings.faults ? settings.faults : std::make_shared<FaultLog>(logger)),
      counters_(settings.counters ? settings.counters : std::make_shared<ServiceCounters>()),
      executor_(executor),
      logger_(std::move(logger)),
      patience_(ioThread_->context()),
      tellAgain_(ioThread_->context()),
      observer_(std::move(observer)),
      delivery_(ioThread_->context(), executor, faults_, counters_, *this),
      router_(settings.uri, logger_, faults_, counters_, *this),
      stream_(
          ioThread_->context(), [this] { connection_.onAllReadUsed(); }, [this] { onSocketClosed(); }),
      connector_(ioThread_->context(), stream_, WebsocketAddress::parse(settings.uri), *this),
      connection_(ioThread_->context(), stream_, delivery_, settings.watchdogPingInterval,
                  settings.watchdogPongTimeout, *this) {}

WebsocketManager::~WebsocketManager() = default;

std::shared_ptr<void> WebsocketManager::keepAlive() {
    return shared_from_this();
}

// Posted to the I/O thread: an exception ends this connection instead of all.
template <typename Function>
auto WebsocketManager::guarded(Function function) {
    return [self = shared_from_this(), function = std::move(function)] {
        try {
            function(*self);
        } catch (const std::exception& exception) {
            self->endWith(CloseCode::none, {exception.what()});
        }
    };
}

template <typename Function>
void WebsocketManager::post(Function function) {
    ioThread_->post(guarded(std::move(function)));
}

// ---------------------------------------------------------------------------------------------- any thread

void WebsocketManager::start() {
    ioThread_->addUser(weak_from_this());
    post([](WebsocketManager& self) {
        if (!self.hasEnded_) {
            self.connector_.start(self.settings_.connectDelay);
        }
    });
}

std::shared_ptr<Subscription> WebsocketManager::subscribe(const std::string& path, const std::string& uuid,
                                                          DataHandler handler, EndedHandler ended) {
    if (!*isOpen_) {
        throw ZebException("cannot subscribe to " + path + ": the connection is not open", settings_.uri);
    }
    // A handler holds objects of the user. The last to let go of the record may be the I/O thread, which must
    // not destroy these.
    SubscriptionRecord::Hold record(
        new SubscriptionRecord(path, uuid, std::move(handler), std::move(ended),
                               [ioThread = std::weak_ptr<IoThread>(ioThread_),
                                executor = executor_](std::unique_ptr<SubscriptionRecord> last) {
                                   IoThread::releaseElsewhere(ioThread, executor, std::move(last));
                               }));
    post([record](WebsocketManager& self) {
        if (!self.hasEnded_) {
            self.router_.subscribe(record);
        }
    });
    return std::make_shared<WebsocketSubscription>(weak_from_this(), isOpen_, std::move(record));
}

std::string WebsocketManager::peerAddress() const {
    const std::lock_guard lock(peerMutex_);
    return peerAddress_;
}

void WebsocketManager::unsubscribe(const SubscriptionRecord::Hold& record) {
    if (!record->isUnsubscribed.exchange(true)) {
        ioThread_->post(record->unsubscribePost.handler(
            guarded([record](WebsocketManager& self) { self.router_.unsubscribe(record); })));
    }
}

void WebsocketManager::unsubscribeFromAll() {
    post([](WebsocketManager& self) { self.router_.unsubscribeFromAll(); });
    // No new call of a handler may begin once this function has returned, and only the I/O thread may touch
    // the records.
    ioThread_->waitForPosted();
}

void WebsocketManager::close(const std::string& reason) {
    post([reason](WebsocketManager& self) { self.endWith(CloseCode::going_away, {reason}); });
}

void WebsocketManager::stop() {
    delivery_.stop();
    *isOpen_ = false;
    if (!isStopped_.exchange(true)) {
        ioThread_->post(stopPost_.handler(guarded([](WebsocketManager& self) {
            self.endWith(CloseCode::going_away, {"stopped"});
            // This object may live on for as long as somebody has a service of it.
            self.delivery_.discard();
        })));
    }
}

// -------------------------------------------------------------------------------------- on the I/O thread

void WebsocketManager::onIoFailure(const char* reason) {
    endWith(CloseCode::none, {std::string("an operation failed: ") + reason});
    if (!isSocketClosed_) {
        stream_.abort();  // the operation that was to close it may be the one that was lost
    }
}

// ------------------------------------------------------------------------------------ from the connector

void WebsocketManager::onPauseOver() {
    for (const auto& weak : settings_.predecessors) {
        const auto predecessor = std::dynamic_pointer_cast<WebsocketManager>(weak.lock());
        if (predecessor && !predecessor->isSocketClosed_) {
            predecessor->leaveTo([successor = weak_from_this()] {
                if (const auto self = successor.lock()) {
                    self->post([](WebsocketManager& manager) {
                        if (!manager.hasEnded_) {
                            manager.onPauseOver();
                        }
                    });
                }
            });
            return;
        }
    }
    connector_.connectNow();
}

void WebsocketManager::onConnected() {
    {
        const std::lock_guard lock(peerMutex_);
        peerAddress_ = connector_.peerAddress();
    }
    *isOpen_ = !delivery_.isStopped();
    delivery_.execute(std::exchange(observer_.opened, nullptr), "websocket opened");
    connection_.start();
}

void WebsocketManager::onConnectFailed(const WebsocketEnd& end) {
    endWith(CloseCode::protocol_error, end);
}

void WebsocketManager::onWarning(const std::string& text) {
    logger_->warning(text);
}

// ------------------------------------------------------------------------------ from the open connection

void WebsocketManager::onMessage(std::string_view text) {
    router_.route(text);
}

void WebsocketManager::onLost(const std::string& reason) {
    endWith(CloseCode::none, {reason});
}

void WebsocketManager::onViolation(CloseCode code, const std::string& reason) {
    endWith(code, {reason});
}

// ---------------------------------------------------------------------------------------- from the router

void WebsocketManager::send(std::string message) {
    connection_.send(std::move(message));
}

void WebsocketManager::enqueue(const SubscriptionRecord::Hold& record, std::string_view data) {
    delivery_.push(record, data);
}

void WebsocketManager::tellEnded(const SubscriptionRecord::Hold& record, const std::string& reason) {
    delivery_.execute(
        [self = shared_from_this(), record, reason] {
            if (record->active.exchange(false) && record->ended && !self->delivery_.isStopped()) {
                record->ended(reason);
            }
        },
        "subscription ended by the server");
}

void WebsocketManager::release(std::vector<SubscriptionRecord::Hold> records) {
    delivery_.execute([records = std::move(records)] {}, "subscriptions ended");
}

// -------------------------------------------------------------------------------------- from the delivery

void WebsocketManager::onRoom() {
    connection_.resumeReading();
}

// ------------------------------------------------------------------------------------------------- ending

// May throw for want of memory. The next call then does what is left; onIoFailure() sees to it that there is
// one.
void WebsocketManager::endWith(CloseCode code, const WebsocketEnd& end) {
    if (!hasEnded_) {
        *isOpen_ = false;
        // First what may fail.
        end_.why = end;
        end_.subscriptions = router_.takeAll();
        hasEnded_ = true;
        connector_.cancel();
        connection_.stop();
        end_.closed = std::exchange(observer_.closed, nullptr);
        observer_ = {};
        closeStream(code);
    }
    if (!isEndTold_) {
        tellEnd();
    }
}

void WebsocketManager::closeStream(CloseCode code) {
    try {
        stream_.close(code, shared_from_this());
    } catch (const std::exception&) {
        stream_.abort();  // without a close frame
    }
}

// The records' handlers may hold objects of the user, which must not be destroyed on this thread.
void WebsocketManager::tellEnd() {
    try {
        delivery_.execute([self = shared_from_this()] { self->onEndTold(); }, "websocket closed");
        isEndTold_ = true;
    } catch (const std::bad_alloc&) {
        // Somebody must be told, or the service would be lost for good.
        tellAgain_.expires_after(kPatienceOfSuccessor);
        tellAgain_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
            if (!error && !self->isEndTold_) {
                self->tellEnd();
            }
        });
    }
}

// On the executor thread.
void WebsocketManager::onEndTold() {
    const End told = std::exchange(end_, {});
    if (told.closed && !delivery_.isStopped()) {
        told.closed(told.why);
    }
}

// Calls `successor` once this connection's socket is closed, which is soon.
void WebsocketManager::leaveTo(std::function<void()> successor) {
    successor_ = std::move(successor);
    patience_.expires_after(kPatienceOfSuccessor);
    patience_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (!error && self->hasEnded_ && !self->isSocketClosed_) {
            self->stream_.abort();
        }
    });
}

void WebsocketManager::onSocketClosed() {
    isSocketClosed_ = true;
    patience_.cancel();
    if (successor_) {
        successor_();
        successor_ = nullptr;
    }
}

}  // namespace zeb
