#pragma once

#include <clampcontrolclient/ClampControlCallbackIf.h>

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// Records its calls as "connection true", "notification" or "clamp15 false", and then runs the test's
/// function.
class RecordingCallback : public clampcontrolclient::ClampControlCallbackIf {
 public:
    std::function<void()> inConnection = [] {};
    std::function<void()> inNotification = [] {};
    std::function<void()> inClamp = [] {};

    void OnConnectionStateChanged(bool connected) override {
        note(connected ? "connection true" : "connection false");
        inConnection();
    }
    void OnClampStateChanged(bool switchedOn) override {
        note(switchedOn ? "clamp15 true" : "clamp15 false");
        inClamp();
    }
    void OnClampNotification() override {
        note("notification");
        inNotification();
    }

    void note(const std::string& event) {
        const std::lock_guard lock(mutex_);
        events_.push_back(event);
    }

    /// All events since the last call.
    std::vector<std::string> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(events_, {});
    }

 private:
    std::mutex mutex_;
    std::vector<std::string> events_;
};

}  // namespace test_support
