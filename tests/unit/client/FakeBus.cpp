#include "FakeBus.h"

#include <kelo-client/KeloLogger.h>
#include <kelo-client/KeloLoggerFactory.h>
#include <zeb/ZebAccessor.h>

#include <future>
#include <stdexcept>
#include <utility>

namespace test_support {

namespace {

std::unique_ptr<zebutil::ILogger> logger(const std::string& name) {
    return std::make_unique<kelo_client::KeloLogger>(name);
}

class RefusingExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> /*function*/, const char* /*name*/) override {
        throw std::runtime_error("refused");
    }
};

class FakeSubscription : public zeb::Subscription {
 public:
    explicit FakeSubscription(std::shared_ptr<FakeBus::Subscribed> subscribed)
        : subscribed_(std::move(subscribed)) {}
    ~FakeSubscription() override {
        subscribed_->released = true;
        subscribed_->inRelease();
    }

    std::string getUuidOfElement() const override { return subscribed_->uuid; }
    void unsubscribe() override { ++subscribed_->unsubscribes; }

 private:
    const std::shared_ptr<FakeBus::Subscribed> subscribed_;
};

}  // namespace

class FakeBus::Registry : public zeb::IServiceRegistry {
 public:
    using IServiceRegistry::registerServiceListener;
    void registerServiceListener(zeb::UntypedServiceListener registered) override {
        listener = std::move(registered);
        ++listeners;
    }
    void unsubscribeFromAllElements() override {}
    void stop() override {}

    zeb::UntypedServiceListener listener;
    int listeners = 0;
};

class FakeBus::TpAccess : public zeb::ITpAccess {
 public:
    explicit TpAccess(FakeBus& bus) : bus_(bus) {}

    zeb::ZebResponse get(const std::string& resource, const std::string& id, const Query& query,
                         Deadline /*deadline*/) override {
        {
            const std::lock_guard lock(mutex);
            requests.push_back({resource, id, query});
        }
        return bus_.answer();
    }
    zeb::ZebResponse post(const std::string& /*resource*/, const std::string& /*id*/,
                          const std::string& /*body*/, Deadline /*deadline*/) override {
        throw std::logic_error("the client writes nothing");
    }

    mutable std::mutex mutex;
    std::vector<Request> requests;

 private:
    FakeBus& bus_;
};

class FakeBus::Websocket : public zeb::IWebsocketManager {
 public:
    explicit Websocket(FakeBus& bus) : bus_(bus) {}

    std::shared_ptr<zeb::Subscription> subscribe(const std::string& path, const std::string& uuid,
                                                 DataHandler handler, EndedHandler ended) override {
        auto subscribed = std::make_shared<Subscribed>();
        subscribed->path = path;
        subscribed->uuid = uuid;
        subscribed->handler = std::move(handler);
        subscribed->ended = std::move(ended);
        {
            const std::lock_guard lock(mutex);
            subscriptions.push_back(subscribed);
        }
        bus_.onSubscribe(subscribed);
        return std::make_shared<FakeSubscription>(std::move(subscribed));
    }
    void unsubscribeFromAll() override {}
    void close(const std::string& /*reason*/) override {}
    void stop() override {}

    mutable std::mutex mutex;
    std::vector<std::shared_ptr<Subscribed>> subscriptions;

 private:
    FakeBus& bus_;
};

FakeBus::FakeBus()
    : zebExecutor_(
          std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>("zebExecutor", logger("zebExecutor"))),
      httpExecutor_(
          std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>("httpExecutor", logger("httpExecutor"))),
      requestExecutor_(httpExecutor_),
      tpAccess_(std::make_shared<TpAccess>(*this)),
      websocket_(std::make_shared<Websocket>(*this)),
      registry_(std::make_shared<Registry>()),
      clientServices_(std::make_shared<zeb::ZebClientServices>(
          "test", registry_, std::make_shared<kelo_client::KeloLoggerFactory>(), nullptr,
          std::make_shared<zeb::ZebClientServices::Properties>(), nullptr)) {
    answer = [] { return zeb::ZebResponse(200, "{\"data\":[" + clampJson("Clamp15", true) + "]}"); };
    onSubscribe = [this](const std::shared_ptr<Subscribed>& subscribed) {
        notify(subscribed, clampJson("Clamp15", true));
    };
    zebExecutor_->start();
    httpExecutor_->start();
}

FakeBus::~FakeBus() {
    zebExecutor_->stop();
    httpExecutor_->stop();
}

void FakeBus::runOnExecutor(const std::function<void()>& function) {
    zebExecutor_->add(function, "service listener");
    settle();
}

void FakeBus::connectService() {
    const auto accessor =
        std::make_shared<zeb::ZebAccessor>(tpAccess_, requestExecutor_, zebExecutor_, logger("ZebAccessor"));
    runOnExecutor([this, accessor] {
        registry_->listener.connected(registry_->listener.createService(accessor, websocket_));
    });
}

void FakeBus::disconnectService() {
    runOnExecutor(registry_->listener.disconnected);
}

void FakeBus::tellUnavailable(const std::string& reason) {
    runOnExecutor([this, &reason] { registry_->listener.unavailable(reason); });
}

void FakeBus::queueDisconnect() {
    zebExecutor_->add(registry_->listener.disconnected, "service listener");
}

void FakeBus::tellError(const std::exception& error) {
    runOnExecutor([this, &error] { registry_->listener.error(error); });
}

void FakeBus::end(const std::shared_ptr<Subscribed>& subscription, const std::string& reason) {
    zebExecutor_->add([subscription, reason] { subscription->ended(reason); }, "subscription ended");
}

void FakeBus::notify(const std::shared_ptr<Subscribed>& subscription, const std::string& json) {
    zebExecutor_->add([subscription, json] { subscription->handler(json); }, "notification");
}

void FakeBus::settle() {
    while (!settlesWithin(std::chrono::hours(1))) {
    }
}

bool FakeBus::settlesWithin(std::chrono::milliseconds limit) {
    const auto reached = std::make_shared<std::promise<void>>();
    zebExecutor_->add([reached] { reached->set_value(); }, "settle");
    return reached->get_future().wait_for(limit) == std::future_status::ready;
}

void FakeBus::refuseRequests() {
    requestExecutor_ = std::make_shared<RefusingExecutor>();
}

std::vector<FakeBus::Request> FakeBus::requests() const {
    const std::lock_guard lock(tpAccess_->mutex);
    return tpAccess_->requests;
}

std::vector<std::shared_ptr<FakeBus::Subscribed>> FakeBus::subscriptions() const {
    const std::lock_guard lock(websocket_->mutex);
    return websocket_->subscriptions;
}

std::string FakeBus::followedService() const {
    return registry_->listener.serviceName;
}

int FakeBus::listeners() const {
    return registry_->listeners;
}

std::string clampJson(const std::string& type, bool isSwitchedOn, const std::string& id) {
    return "{\"id\":\"" + id + "\",\"name\":\"" + type + "\",\"uri\":\"/ClampControl/clamps/" + id +
           "\",\"isSwitchedOn\":" + (isSwitchedOn ? "true" : "false") + ",\"type\":\"" + type + "\"}";
}

}  // namespace test_support
