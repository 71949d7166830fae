#include "NotificationDelivery.h"

#include <zebutil/ITaskExecutor.h>
#include <zebutil/StopHandler.h>

#include <boost/asio/post.hpp>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <typeinfo>
#include <utility>

#include "log/FaultLog.h"
#include "log/ServiceCounters.h"

namespace zeb {

namespace {

std::string taskOf(const SubscriptionRecord& subscription) {
    return "task \"notification of " + subscription.shownPath() + "\"";
}

}  // namespace

NotificationDelivery::NotificationDelivery(boost::asio::io_context& context,
                                           const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                                           std::shared_ptr<FaultLog> faults,
                                           std::shared_ptr<ServiceCounters> counters, Owner& owner)
    : context_(context),
      executor_(executor),
      faults_(std::move(faults)),
      counters_(std::move(counters)),
      owner_(owner) {}

// ------------------------------------------------------------------------------------- on the I/O thread

void NotificationDelivery::announce() {
    const bool isWakeUpNeeded = queue_.handOver();
    counters_->longestQueue.raiseTo(queue_.longest());
    if (isWakeUpNeeded) {
        addTask([this, alive = owner_.keepAlive()] { deliver(); }, "notifications");
    }
}

bool NotificationDelivery::hasRoom() {
    if (!queue_.isFull()) {
        return true;
    }
    isRoomWanted_ = true;
    announce();
    if (!queue_.hasRoom()) {
        counters_->paused.begin();
        return false;  // the executor thread reports when there is
    }
    isRoomWanted_ = false;
    return true;
}

void NotificationDelivery::execute(std::function<void()> function, const char* name) {
    announce();
    addTask(std::move(function), name);
}

void NotificationDelivery::addTask(std::function<void()> function, const char* name) {
    if (const auto executor = executor_.lock()) {
        executor->add(std::move(function), name);
    }
}

// -------------------------------------------------------------------------------- on the executor thread

void NotificationDelivery::deliver() {
    queue_.takeAll(batch_);
    const std::size_t bytes = batch_.bytes();
    batch_.deliverAll([this](const SubscriptionRecord& subscription, std::string_view data) {
        deliverOne(subscription, data);
        queue_.delivered();
        reportRoom();
    });
    queue_.released(bytes);
    reportRoom();
}

void NotificationDelivery::deliverOne(const SubscriptionRecord& subscription, std::string_view data) {
    // Of all that waits, stop() waits for the running handler only.
    if (!subscription.active || isStopped_ || zebutil::StopHandler::isStopped()) {
        counters_->tooLate.add();
        return;
    }
    counters_->delivered.add();
    try {
        subscription.handler(data);
    } catch (const std::exception& exception) {
        logThrown(subscription, typeid(exception).name(), ": ", exception.what());
    } catch (...) {
        logThrown(subscription, "", " something that is not a std::exception", "");
    }
}

// The text may quote the notification, which can be another each time. The type of the exception cannot.
void NotificationDelivery::logThrown(const SubscriptionRecord& subscription, const char* type,
                                     const char* separator, const char* what) noexcept {
    counters_->failed.add();
    try {
        const std::string task = taskOf(subscription) + " threw";
        faults_->error(task + type, task + separator + what);
    } catch (...) {
        return;  // Without the memory for a line in the log, the next notifications still count.
    }
}

void NotificationDelivery::reportRoom() {
    if (!isRoomWanted_ || !queue_.hasRoom() || isReported_.exchange(true)) {
        return;
    }
    boost::asio::post(context_, report_.handler([this, alive = owner_.keepAlive()] {
        isReported_ = false;
        if (isRoomWanted_ && queue_.hasRoom()) {
            isRoomWanted_ = false;
            counters_->paused.end();
            owner_.onRoom();
        }
    }));
}

}  // namespace zeb
