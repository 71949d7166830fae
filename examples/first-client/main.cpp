#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <kelo-client/CallbackFuture.h>

#include <iostream>

struct Printer : clampcontrolclient::ClampControlCallbackIf {
    kelo_client::CallbackFuture connectedOnce;  // keeps the first value set
    void OnConnectionStateChanged(bool connected) override {
        std::cout << (connected ? "service connected" : "service gone, clamp unknown") << std::endl;
        if (connected) {
            connectedOnce.Set(kelo_client::CallbackFuture::FutureValue{1});
        }
    }
    void OnClampNotification() override {}
    void OnClampStateChanged(bool on) override { std::cout << "terminal 15 on: " << on << std::endl; }
};

int main() {
    csc_logging::CSCLogging::InitLogging("first-client");
    Printer printer;  // must outlive the client
    clampcontrolclient::ClampControlClient client;
    client.AssignCallback(&printer);
    client.Start();
    printer.connectedOnce.Get();  // waits until the service is connected
    if (client.SubscribeClampControl().empty()) {
        return 1;  // the log says why; throws if the service is gone
    }
    std::cin.get();  // waits for Enter
    client.Stop();
}
