#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "NotificationBatch.h"
#include "NotificationQueue.h"
#include "SubscriptionRecord.h"
#include "io/ReservedPost.h"

namespace zebutil {
class ITaskExecutor;
}

namespace zeb {

class FaultLog;
struct ServiceCounters;

/// The way of one WebSocket's notifications from the I/O thread to the executor thread, where it calls the
/// handlers of the subscriptions. The only thread hop on that way, with the back pressure that belongs to it.
/// Owned by a WebsocketManager.
// There is one for each connection, so the order of the members is for readers.
class NotificationDelivery {  // NOLINT(clang-analyzer-optin.performance.Padding)
 public:
    class Owner {
     public:
        /// There is room again, after hasRoom() said that there is none. On the I/O thread.
        virtual void onRoom() = 0;
        /// Keeps this object alive while a task of the executor needs it.
        virtual std::shared_ptr<void> keepAlive() = 0;

     protected:
        ~Owner() = default;
    };

    /// `context` and `owner` outlive this object.
    NotificationDelivery(boost::asio::io_context& context,
                         const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                         std::shared_ptr<FaultLog> faults, std::shared_ptr<ServiceCounters> counters,
                         Owner& owner);

    // On the I/O thread.

    /// Queues a notification. The executor does not learn of it before announce().
    void push(const SubscriptionRecord::Hold& subscription, std::string_view data) {
        queue_.push(subscription, data);
    }

    /// Hands over what was pushed. One wake-up serves all that one read has brought: it costs more than the
    /// work on several notifications.
    void announce();

    /// Whether more may be pushed. If not, the owner's onRoom() is called once there is room again.
    bool hasRoom();

    /// Runs `function` on the executor thread, after the handlers of everything that was pushed before.
    void execute(std::function<void()> function, const char* name);

    /// Gives back the memory of what is not delivered yet, because nobody will take it.
    void discard() { queue_.discard(); }

    // On any thread.

    /// No handler is called any more; one that is running is not waited for.
    void stop() { isStopped_ = true; }
    bool isStopped() const { return isStopped_; }

 private:
    // On the executor thread.
    void deliver();
    void deliverOne(const SubscriptionRecord& subscription, std::string_view data);
    void logThrown(const SubscriptionRecord& subscription, const char* type, const char* separator,
                   const char* what) noexcept;
    void reportRoom();

    void addTask(std::function<void()> function, const char* name);

    boost::asio::io_context& context_;
    // Weak, since tasks of the executor keep this object.
    const std::weak_ptr<zebutil::ITaskExecutor> executor_;
    const std::shared_ptr<FaultLog> faults_;
    const std::shared_ptr<ServiceCounters> counters_;
    Owner& owner_;

    NotificationQueue queue_;
    NotificationBatch batch_;  ///< of the executor thread alone
    std::atomic<bool> isStopped_ = false;
    std::atomic<bool> isRoomWanted_ = false;  ///< written on the I/O thread only
    std::atomic<bool> isReported_ = false;    ///< whether a report of reportRoom() is under way
    ReservedPost report_;
};

}  // namespace zeb
