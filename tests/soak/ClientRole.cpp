#include "ClientRole.h"

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <kelo-client/ClientServiceBase.h>
#include <malloc.h>
#include <unistd.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ServiceListener.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>

#include "FollowingApplication.h"
#include "Invariants.h"
#include "Link.h"

namespace soak {

namespace {

using clampcontrolclient::ClampControlClient;
using clampcontrolclient::ClampState;
using std::chrono::milliseconds;
using zebobjects_ZEB::ClampcontrolService;
using Clock = std::chrono::steady_clock;

// Far beyond every time limit of the library: what takes longer is stuck.
constexpr std::chrono::seconds kStandstill{90};

template <typename Condition>
bool waitUntil(std::chrono::milliseconds limit, Condition isTrue) {
    const auto deadline = Clock::now() + limit;
    while (!isTrue()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

class Dice {
 public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}
    int below(int count) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(count)); }
    bool percent(int chance) { return below(100) < chance; }

 private:
    std::mt19937_64 engine_;
};

/// An application with its client.
class Application : public clampcontrolclient::ClampControlCallbackIf {
 public:
    Application(Link& link, std::uint64_t seed)
        : link_(link),
          dice_(seed),
          invariants_([this](const std::string& text) { complain("callback: " + text); }),
          client_(std::make_unique<ClampControlClient>()) {
        client_->AssignCallback(this);
    }

    void start() { client_->Start(); }

    // --- on the library's thread ---

    void OnConnectionStateChanged(bool connected) override {
        const Inside inside(*this);
        invariants_.connectionState(connected);
        if (connected && lookInside_.exchange(false) && !client_->SubscribeClampControl().empty()) {
            complain("a subscribe inside a callback succeeded");
        }
        inCallback();
    }
    void OnClampStateChanged(bool switchedOn) override {
        const Inside inside(*this);
        invariants_.state(switchedOn);
        inCallback();
    }
    void OnClampNotification() override {
        const Inside inside(*this);
        invariants_.notification();
        if (slowness_ > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(slowness_));
        }
        inCallback();
    }

    // --- on the application's thread ---

    /// One random action that an application may take at any time.
    void act() {
        slowness_ = dice_.percent(10) ? 500 + dice_.below(2000) : 0;
        lookInside_ = dice_.percent(10);
        if (!invariants_.isConnected()) {
            std::this_thread::sleep_for(milliseconds(5));
        } else if (uuid_.empty() || dice_.percent(30)) {
            subscribe();
        } else if (dice_.percent(40)) {
            unsubscribe();
        }
        pause();
    }

    bool subscribe() {
        ++subscribes_;
        invariants_.subscribeBegins();
        const std::string before = std::exchange(uuid_, "");
        const auto began = Clock::now();
        try {
            uuid_ = client_->SubscribeClampControl();
        } catch (const std::exception&) {
            // not connected any more
        }
        const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - began);
        longestSubscribe_ = std::max(longestSubscribe_.load(), took);
        invariants_.subscribeReturned(uuid_.empty());
        if (uuid_.empty()) {
            ++refusedSubscribes_;
            if (!before.empty()) {
                client_->UnsubscribeClampControl(before);
                invariants_.unsubscribeReturned();
            }
        }
        settle();
        return !uuid_.empty();
    }

    void unsubscribe() {
        client_->UnsubscribeClampControl(uuid_);
        invariants_.unsubscribeReturned();
        uuid_.clear();
        settle();
    }

    /// Waits until the library's thread has finished what it is doing now.
    void settle() {
        const auto base = kelo_client::ClientServiceBase::getInstance();
        const auto isDone = std::make_shared<std::promise<void>>();
        auto done = isDone->get_future();
        base->getZebExecutor()->add([isDone] { isDone->set_value(); }, "soak: settle");
        const auto deadline = Clock::now() + kStandstill;
        while (done.wait_for(milliseconds(50)) != std::future_status::ready && !isStopped_) {
            if (Clock::now() > deadline) {
                complain("the library's thread stands still");
                return;
            }
        }
        invariants_.settled();
    }

    void stop() {
        isStopped_ = true;
        const auto began = Clock::now();
        client_->Stop();
        invariants_.clientEnded();
        longestStop_ = std::chrono::duration_cast<milliseconds>(Clock::now() - began);
    }

    void stopInNextCallback() { stopsInside_ = true; }
    bool isStopped() const { return isStopped_; }

    void destroy() {
        client_.reset();
        invariants_.clientEnded();
    }

    void pause() { std::this_thread::sleep_for(milliseconds(dice_.below(200))); }
    void complain(const std::string& text) { link_.send("violation " + text); }
    void beQuick() { slowness_ = 0; }

    const CallbackInvariants& invariants() const { return invariants_; }
    std::uint64_t subscribes() const { return subscribes_; }
    std::uint64_t refusedSubscribes() const { return refusedSubscribes_; }
    milliseconds longestSubscribe() const { return longestSubscribe_; }
    milliseconds longestStop() const { return longestStop_; }

 private:
    /// Two simultaneous callbacks would be a broken promise as well.
    class Inside {
     public:
        explicit Inside(Application& application) : application_(application) {
            if (application_.isInside_.exchange(true)) {
                application_.complain("two callbacks at once");
            }
        }
        ~Inside() { application_.isInside_ = false; }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;

     private:
        Application& application_;
    };

    void inCallback() {
        if (stopsInside_.exchange(false)) {
            stop();
        }
    }

    Link& link_;
    Dice dice_;
    CallbackInvariants invariants_;
    std::atomic<int> slowness_ = 0;  // us
    std::atomic<bool> lookInside_ = false;
    std::atomic<bool> stopsInside_ = false;
    std::atomic<bool> isStopped_ = false;
    std::atomic<bool> isInside_ = false;
    std::string uuid_;
    std::atomic<std::uint64_t> subscribes_ = 0;
    std::atomic<std::uint64_t> refusedSubscribes_ = 0;
    std::atomic<milliseconds> longestSubscribe_{milliseconds(0)};
    std::atomic<milliseconds> longestStop_{milliseconds(0)};
    std::unique_ptr<ClampControlClient> client_;
};

/// A second subscriber on the same connection, which sees the element's "name": a number that counts up.
class Counter : public std::enable_shared_from_this<Counter> {
 public:
    explicit Counter(Violation violation) : violation_(std::move(violation)) {}

    void start() {
        zeb::ServiceListener<ClampcontrolService> listener;
        listener.connected = [self = shared_from_this()](std::shared_ptr<ClampcontrolService> service) {
            const std::lock_guard lock(self->mutex_);
            if (self->service_) {
                self->violation_("connected twice in a row");
            }
            self->service_ = std::move(service);
        };
        listener.disconnected = [self = shared_from_this()] {
            std::shared_ptr<zeb::Subscription> released;
            const std::lock_guard lock(self->mutex_);
            if (!self->service_) {
                self->violation_("disconnected without being connected");
            }
            self->service_.reset();
            if (self->values_) {
                self->values_->end();
            }
        };
        kelo_client::ClientServiceBase::getInstance()->getServiceRegistry()->registerServiceListener(
            listener);
    }

    bool subscribe() {
        std::shared_ptr<ClampcontrolService> service;
        {
            const std::lock_guard lock(mutex_);
            service = service_;
        }
        if (!service) {
            return false;
        }
        auto values = std::make_shared<CountingSubscription>(violation_);
        {
            const std::lock_guard lock(mutex_);
            if (service != service_) {
                return false;
            }
            values_ = values;
        }
        ClampcontrolService::ClampDescriptor descriptor;
        descriptor.setId(std::string("1"));
        try {
            subscription_ = service->subscribeElement<ClampcontrolService::Clamp>(
                descriptor, [this, values](std::shared_ptr<const ClampcontrolService::Clamp> clamp) {
                    if (clamp) {
                        values->told(std::stoull(clamp->getName().getValue()));
                        ++told_;
                    }
                });
        } catch (const std::exception&) {
            return false;
        }
        return true;
    }

    void unsubscribe() {
        if (subscription_) {
            subscription_->unsubscribe();
            subscription_.reset();
        }
    }
    /// To be called when the library's thread has settled after unsubscribe().
    void unsubscribed() {
        const std::lock_guard lock(mutex_);
        if (values_ && !subscription_) {
            values_->end();
        }
    }

    bool isSubscribed() const {
        const std::lock_guard lock(mutex_);
        return service_ && values_ && !values_->hasEnded();
    }
    std::uint64_t last() const {
        const std::lock_guard lock(mutex_);
        return values_ ? values_->last() : 0;
    }
    std::uint64_t told() const { return told_; }

 private:
    const Violation violation_;
    mutable std::mutex mutex_;
    std::shared_ptr<ClampcontrolService> service_;
    std::shared_ptr<CountingSubscription> values_;
    std::shared_ptr<zeb::Subscription> subscription_;  // used on the application's thread only
    std::atomic<std::uint64_t> told_ = 0;
};

// What the process holds now: heap in use (bytes), resident memory of its own (KiB), file descriptors,
// threads. Of its own: the pages of a library are read when they are first used, and that may be late.
std::string ownFigures() {
    // What the C library keeps for later would hide what the library uses.
    ::malloc_trim(0);
    const struct mallinfo2 heap = ::mallinfo2();
    std::ifstream status("/proc/self/status");
    std::string word;
    std::string resident = "0";
    std::string threads = "0";
    while (status >> word) {
        if (word == "RssAnon:") {
            status >> resident;
        } else if (word == "Threads:") {
            status >> threads;
        }
    }
    std::ptrdiff_t descriptors = -1;  // without the one that counts them
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        static_cast<void>(entry);
        ++descriptors;
    }
    return std::to_string(heap.uordblks + heap.hblkhd) + " " + resident + " " + std::to_string(descriptors) +
           " " + threads;
}

class Endurance {
 public:
    explicit Endurance(std::uint64_t seed)
        : link_(Child::kLinkDescriptor),
          application_(link_, seed),
          counter_(std::make_shared<Counter>(
              [this](const std::string& text) { application_.complain("data object: " + text); })),
          following_([this](const std::string& text) { application_.complain("follower: " + text); }) {}

    int run() {
        application_.start();
        counter_->start();
        while (true) {
            const auto line = link_.receive(milliseconds(isCalm_ ? 50 : 0));
            if (line == "calm") {
                becomeCalm();
                isCalm_ = true;
            } else if (line && line->rfind("expect ", 0) == 0) {
                expect(std::stoull(line->substr(7)));
            } else if (line == "gone") {
                following_.checkThatItLearnsOfTheRemoval(kStandstill);
                link_.send("noticed");
            } else if (line && line->rfind("back ", 0) == 0) {
                awaitTheFollower(std::stoull(line->substr(5)));
                link_.send("followed");
                isCalm_ = false;
            } else if (line == "end" || link_.isOver()) {
                break;
            } else if (!line && !isCalm_) {
                application_.act();
                actOfCounter();
                checkTheFollower();
            }
        }
        application_.stop();
        following_.checkThatItIsUnknown();
        std::this_thread::sleep_for(milliseconds(300));  // for callbacks that must not come
        following_.destroy();
        const CallbackInvariants& told = application_.invariants();
        link_.send("total " + std::to_string(told.connections()) + " " + std::to_string(told.states()) + " " +
                   std::to_string(counter_->told()) + " " + std::to_string(application_.subscribes()) + " " +
                   std::to_string(application_.refusedSubscribes()) + " " +
                   std::to_string(application_.longestSubscribe().count()) + " " +
                   std::to_string(told.callsInTheGap()) + " " + std::to_string(following_.timesKnown()));
        return 0;
    }

 private:
    void actOfCounter() {
        if (turn_++ % 5 == 0) {
            counter_->unsubscribe();
            application_.settle();
            counter_->unsubscribed();
        } else if (turn_ % 5 == 2) {
            counter_->subscribe();
        }
    }

    void checkTheFollower() {
        const CallbackInvariants& told = application_.invariants();
        const auto connections = told.connections();
        if (!told.isConnected()) {
            const auto status = following_.status();
            // Otherwise it may have connected meanwhile.
            if (!told.isConnected() && told.connections() == connections) {
                following_.checkWhileLost(status);
            }
        }
    }

    bool isSubscribed() const { return application_.invariants().isSubscribed() && counter_->isSubscribed(); }

    /// The faults are over: the client must connect and subscribe again within the maximum time.
    void becomeCalm() {
        application_.beQuick();
        counter_->unsubscribe();
        application_.settle();
        counter_->unsubscribed();
        const bool isUsable = waitUntil(kStandstill, [this] {
            if (!application_.invariants().isConnected() || !application_.subscribe() ||
                !counter_->subscribe()) {
                return false;
            }
            return waitUntil(milliseconds(6000), [this] { return counter_->last() > 0; }) && isSubscribed();
        });
        if (!isUsable) {
            application_.complain("not usable again after the faults");
        }
        link_.send("ready");
    }

    /// The last value of the element is this one.
    void awaitTheFollower(std::uint64_t value) {
        const auto state = value % 2 != 0 ? ClampState::On : ClampState::Off;
        if (!waitUntil(kStandstill, [this, state] { return following_.has(state); })) {
            application_.complain("follower: never has the state of value " + std::to_string(value));
        }
    }

    void expect(std::uint64_t value) {
        const auto isTold = [this, value] {
            return counter_->last() == value && application_.invariants().lastState() == (value % 2 != 0);
        };

        waitUntil(kStandstill, [&] { return isTold() || !isSubscribed(); });
        if (!isSubscribed()) {
            link_.send("disturbed callback " + std::to_string(application_.invariants().isSubscribed()) +
                       ", data object " + std::to_string(counter_->isSubscribed()) + ", connections " +
                       std::to_string(application_.invariants().connections()) + ", last value " +
                       std::to_string(counter_->last()) + " of " + std::to_string(value));
            return;
        }
        if (!isTold()) {
            application_.complain("value " + std::to_string(value) + " never reported; the last one is " +
                                  std::to_string(counter_->last()));
        }
        awaitTheFollower(value);
        link_.send("figures " + ownFigures());
    }

    Link link_;
    Application application_;
    const std::shared_ptr<Counter> counter_;
    FollowingApplication following_;
    unsigned turn_ = 0;
    bool isCalm_ = false;  ///< no actions of the application between "calm" and "back"
};

}  // namespace

int runEndurance(std::uint64_t seed) {
    return Endurance(seed).run();
}

// Destroys the follower now, in its next report, or, after the client, at the end of the process.
static void endTheFollower(Dice& dice, FollowingApplication& following) {
    const int way = dice.below(3);
    if (way == 0) {
        following.destroy();
    } else if (way == 1) {
        following.destroyInNextReport(milliseconds(1500));
    }
}

int runGeneration(std::uint64_t seed) {
    Link link(Child::kLinkDescriptor);
    Dice dice(seed);
    Application application(link, seed);
    FollowingApplication following(
        [&application](const std::string& text) { application.complain("follower: " + text); });
    application.start();
    std::atomic<bool> isOver = false;
    std::thread acting([&] {
        while (!isOver && !application.isStopped()) {
            application.act();
        }
    });
    std::this_thread::sleep_for(milliseconds(100 + dice.below(4000)));

    endTheFollower(dice, following);
    const int way = dice.below(3);
    if (way == 0) {
        isOver = true;
        acting.join();
        application.destroy();
        link.send("ended destroyed 0");
    } else {
        if (way == 1) {
            application.stopInNextCallback();
            waitUntil(milliseconds(1500), [&] { return application.isStopped(); });
        }
        application.stop();  // harmless after a stop inside a callback
        link.send(std::string("ended ") + (way == 1 ? "stopped-inside-a-callback " : "stopped ") +
                  std::to_string(application.longestStop().count()));
        acting.join();
    }
    std::this_thread::sleep_for(milliseconds(300));  // for what must not come
    return 0;
}

}  // namespace soak
