#include "Follower.h"

#include <algorithm>
#include <exception>
#include <utility>

Follower::Follower(clampcontrolclient::ClampControlClientIf& client, EventPrinter& printer,
                   std::function<void(const std::string&)> complain, Pauses pauses)
    : client_(client), printer_(printer), complain_(std::move(complain)), pauses_(pauses) {}

Follower::~Follower() {
    stop();
}

void Follower::start() {
    thread_ = std::thread([this] { followConnections(); });
    client_.AssignCallback(this);
    client_.Start();
}

void Follower::stop() {
    if (!thread_.joinable()) {
        return;
    }
    std::string uuid;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        uuid = uuid_;
    }
    changed_.notify_all();
    if (!uuid.empty()) {
        client_.UnsubscribeClampControl(uuid);
    }
    client_.Stop();
    thread_.join();
}

void Follower::OnConnectionStateChanged(bool connected) {
    {
        // Printed under the lock: "subscribed" must not follow the loss of its connection.
        const std::lock_guard lock(mutex_);
        printer_.connection(connected);
        connected_ = connected;
        connections_ += connected ? 1 : 0;
        uuid_.clear();
    }
    changed_.notify_all();
}

void Follower::OnClampStateChanged(bool switchedOn) {
    printer_.clamp15(switchedOn);
}

void Follower::OnClampNotification() {
    printer_.notification();
}

void Follower::followConnections() {
    std::size_t followed = 0;
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return stopping_ || (connected_ && connections_ != followed); });
            if (stopping_) {
                return;
            }
            followed = connections_;
        }
        subscribeTo(followed);
    }
}

void Follower::subscribeTo(std::size_t connection) {
    for (auto pause = pauses_.first;; pause = std::min(2 * pause, pauses_.longest)) {
        const std::string uuid = trySubscribe();
        std::unique_lock lock(mutex_);
        if (!isPresent(connection)) {
            return;
        }
        if (!uuid.empty()) {
            uuid_ = uuid;
            printer_.subscribed(uuid);
            return;
        }
        lock.unlock();
        complain_("could not subscribe, trying again in " + std::to_string(pause.count()) + " ms");
        lock.lock();
        if (changed_.wait_for(lock, pause, [&] { return !isPresent(connection); })) {
            return;
        }
    }
}

std::string Follower::trySubscribe() {
    try {
        return client_.SubscribeClampControl();
    } catch (const std::exception&) {
        return {};  // the service has just disappeared
    }
}

bool Follower::isPresent(std::size_t connection) const {
    return !stopping_ && connected_ && connections_ == connection;
}
