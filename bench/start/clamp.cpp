// An application that starts as examples/first-client does, up to the first clamp state.

#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>

#include <cstdint>
#include <cstdio>
#include <future>

#include "StartMarks.h"

namespace {

class Application : public clampcontrolclient::ClampControlCallbackIf {
 public:
    std::promise<std::int64_t> connected;
    std::promise<std::int64_t> state;

    // The bus keeps running and the clamp does not change, so each callback comes once.
    void OnConnectionStateChanged(bool isConnected) override {
        if (isConnected) {
            connected.set_value(bench::monotonicNanoseconds());
        }
    }
    void OnClampNotification() override {}
    void OnClampStateChanged(bool /*switchedOn*/) override { state.set_value(bench::monotonicNanoseconds()); }
};

}  // namespace

int main(int count, char** arguments) {
    const auto entered = bench::monotonicNanoseconds();
    if (count < 2) {
        return 2;
    }
    csc_logging::CSCLogging::InitLogging("start-clamp");
    const auto logging = bench::monotonicNanoseconds();
    Application application;
    clampcontrolclient::ClampControlClient client;
    const auto constructed = bench::monotonicNanoseconds();
    client.AssignCallback(&application);
    client.Start();
    const auto connected = application.connected.get_future().get();
    const auto uuid = client.SubscribeClampControl();
    if (uuid.empty()) {
        std::fprintf(stderr, "start-clamp: cannot subscribe\n");
        return 1;
    }
    const auto state = application.state.get_future().get();
    client.Stop();
    start::StartMarks marks(arguments[1]);
    marks.add("main", entered);
    marks.add("logging", logging);
    marks.add("constructed", constructed);
    marks.add("connected", connected);
    marks.add("state", state);
    marks.print();
    return 0;
}
