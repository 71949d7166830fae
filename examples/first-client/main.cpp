#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>

#include <future>
#include <iostream>
#include <utility>

class Printer : public clampcontrolclient::ClampControlCallbackIf {
 public:
    std::promise<void> connectedOnce;

    void OnConnectionStateChanged(bool connected) override {
        std::cout << (connected ? "service connected" : "service gone: subscribe again once it is back")
                  << std::endl;
        if (connected && !std::exchange(wasConnected_, true)) connectedOnce.set_value();
    }
    void OnClampNotification() override {}
    void OnClampStateChanged(bool switchedOn) override {
        std::cout << "terminal 15 is " << (switchedOn ? "on" : "off") << std::endl;
    }

 private:
    bool wasConnected_ = false;
};

int main() {
    csc_logging::CSCLogging::InitLogging("first-client");
    Printer printer;  // outlives the client
    clampcontrolclient::ClampControlClient client;
    client.AssignCallback(&printer);
    client.Start();
    printer.connectedOnce.get_future().wait();         // for as long as it takes the service to be there
    const auto uuid = client.SubscribeClampControl();  // here, never inside a callback
    if (uuid.empty()) return 1;                        // the log says why
    std::cin.get();                                    // until Enter is pressed
    client.UnsubscribeClampControl(uuid);
    client.Stop();
}
