// An application that is connected and subscribed, and receives nothing. Prints "ready" once it is subscribed
// and exits at the end of its standard input.
//
//   idle-clamp [--silent]    --silent: the application does not set up logging

#include <JsonText.h>
#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>

#include <cstdio>
#include <cstring>
#include <future>

namespace {

class Application : public clampcontrolclient::ClampControlCallbackIf {
 public:
    std::promise<void> connected;
    std::promise<void> state;

    // The bus keeps running and the clamp does not change, so each callback comes once.
    void OnConnectionStateChanged(bool isConnected) override {
        if (isConnected) {
            connected.set_value();
        }
    }
    void OnClampNotification() override {}
    void OnClampStateChanged(bool /*switchedOn*/) override { state.set_value(); }
};

}  // namespace

int main(int count, char** arguments) {
    if (count < 2 || std::strcmp(arguments[1], "--silent") != 0) {
        csc_logging::CSCLogging::InitLogging("idle-clamp");
    }
    Application application;
    clampcontrolclient::ClampControlClient client;
    client.AssignCallback(&application);
    client.Start();
    application.connected.get_future().wait();
    if (client.SubscribeClampControl().empty()) {
        std::fprintf(stderr, "idle-clamp: cannot subscribe\n");
        return 1;
    }
    application.state.get_future().wait();
    bench::tell("ready", {});
    while (std::getchar() != EOF) {
    }
    client.Stop();
    return 0;
}
