#pragma once

#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <gtest/gtest.h>
#include <zeb-bus-sim/BusSimulator.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace e2e {

using namespace std::chrono_literals;

/// Long enough for everything that is expected to happen, and short enough to fail in reasonable time.
constexpr std::chrono::seconds kLimit{30};

/// Records the calls to the application, in order, as words: "connected", "disconnected", "notification",
/// "on", "off".
class Application : public clampcontrolclient::ClampControlCallbackIf {
 public:
    void OnConnectionStateChanged(bool connected) override { tell(connected ? "connected" : "disconnected"); }
    void OnClampStateChanged(bool switchedOn) override { tell(switchedOn ? "on" : "off"); }
    void OnClampNotification() override { tell("notification"); }

    /// What the application does when a word was recorded; runs on the library's thread, after the recording.
    void react(std::function<void(const std::string& word)> reaction) {
        const std::lock_guard lock(mutex_);
        reaction_ = std::move(reaction);
    }

    /// The next word, or none when nothing is recorded within the limit.
    std::optional<std::string> next(std::chrono::milliseconds limit = kLimit) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, limit, [this] { return !words_.empty(); })) {
            return std::nullopt;
        }
        std::string word = std::move(words_.front());
        words_.pop_front();
        return word;
    }

    /// Words that were recorded and not taken yet.
    std::size_t pending() const {
        const std::lock_guard lock(mutex_);
        return words_.size();
    }

 private:
    void tell(const std::string& word) {
        std::function<void(const std::string& word)> reaction;
        {
            const std::lock_guard lock(mutex_);
            words_.push_back(word);
            reaction = reaction_;
            changed_.notify_all();
        }
        if (reaction) {
            reaction(word);
        }
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> words_;
    std::function<void(const std::string& word)> reaction_;
};

/// The shipped client, a vehicle's bus on loopback, and an application.
class ClientFixture : public testing::Test {
 public:
    ~ClientFixture() override;

 protected:
    explicit ClientFixture(const zebbussim::BusSimulator::Options& busOptions = {});

    /// Writes the configuration at the client's fixed path. Call it before the client is created.
    static void writeConfiguration(const std::string& json);
    /// A configuration with the clamp-control service at this bus and without a registry.
    std::string staticConfiguration(const std::string& furtherSettings = "") const;

    /// Creates a client, with the configuration above unless another was written.
    void createClient();
    /// Also starts it.
    void startClient();
    /// Also waits until the service is reported as connected.
    void connectClient();
    /// Also subscribes and waits for the first state, which is "off".
    void subscribeClient();

    void setClamp15(bool isOn) {
        bus.set(kClamp15, isOn ? R"({"isSwitchedOn":true})" : R"({"isSwitchedOn":false})");
    }

    static constexpr const char* kClamp15 = "/ClampControl/clamps/1";

    zebbussim::BusSimulator bus;
    Application application;
    std::unique_ptr<clampcontrolclient::ClampControlClient> client;
    std::string uuid;
};

}  // namespace e2e
