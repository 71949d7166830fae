// Follows all clamps of the vehicle, with the service access that ClampControlClient itself is built on. With
// an id, it also reads the clamp with this id and switches it.
//
//     all-clamps CONFIGURATION-FILE [ID]

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <csc_logging/CSCLogging.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ServiceListener.h>
#include <zeb/Subscription.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebClient.h>
#include <zeb/ZebClientServices.h>
#include <zeb/ZebResponse.h>

#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Service = zebobjects_ZEB::ClampcontrolService;
using Clamp = Service::Clamp;
using Response = std::shared_ptr<const zeb::ZebResponse>;

// Everything but its constructor runs on the library's callback thread.
class AllClamps : public zeb::ZebClient, public std::enable_shared_from_this<AllClamps> {
 public:
    AllClamps(std::shared_ptr<zeb::ZebClientServices> services, std::string idToSwitch)
        : ZebClient(std::move(services)), idToSwitch_(std::move(idToSwitch)) {}

    void start() override {
        // The registry keeps the listener, so the listener does not keep this object.
        const std::weak_ptr<AllClamps> weak = weak_from_this();
        zeb::ServiceListener<Service> listener;
        listener.connected = [weak](const std::shared_ptr<Service>& service) {
            if (const auto self = weak.lock()) {
                self->follow(*service);
            }
        };
        listener.disconnected = [weak] {
            if (const auto self = weak.lock()) {
                self->subscription_.reset();
                showUnknown("the service is gone");
            }
        };
        listener.owner = weak;
        getClientServices()->getServiceRegistry()->registerServiceListener(listener);
    }

 private:
    // After every connection: a subscription ends with its connection. What throws here because the
    // connection is lost already is logged, and `disconnected` is called next.
    void follow(Service& service) {
        subscription_ = service.subscribeCollection<Clamp>(
            Clamp::Desctype(), show,
            {[](const std::string& reason) { showUnknown("the subscription has ended: " + reason); },
             [](const std::string& reason) { showUnknown(reason); }});
        if (!idToSwitch_.empty()) {
            readAndSwitch(service.getAccessor(), std::exchange(idToSwitch_, {}));
        }
    }

    static void readAndSwitch(const std::shared_ptr<zeb::ZebAccessor>& accessor, const std::string& id) {
        Clamp::Desctype descriptor;
        descriptor.setId(id);
        accessor->findById<Clamp>(
            descriptor,
            [accessor, descriptor](const std::shared_ptr<const Clamp>& clamp, const Response&) mutable {
                if (clamp->getIsSwitchedOn().hasValue()) {
                    descriptor.setIsSwitchedOn(!clamp->getIsSwitchedOn().getValue());
                    accessor->write<Clamp>(descriptor, {}, showFailure);
                }
            },
            showFailure);
    }

    static void show(const std::vector<std::shared_ptr<const Clamp>>& clamps) {
        for (const auto& clamp : clamps) {
            const auto& isOn = clamp->getIsSwitchedOn();
            std::cout << Service::to_string(clamp->getType()) << ": "
                      << (!isOn.hasValue()  ? "unknown"
                          : isOn.getValue() ? "on"
                                            : "off")
                      << std::endl;
        }
    }

    static void showUnknown(const std::string& reason) { std::cout << "unknown: " << reason << std::endl; }

    static void showFailure(const Response& response) {
        const auto exception = response->getHttpException();
        std::cerr << (exception ? exception->what() : response->getBody()) << std::endl;
    }

    std::string idToSwitch_;
    std::shared_ptr<zeb::Subscription> subscription_;
};

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: all-clamps CONFIGURATION-FILE [ID]" << std::endl;
        return 2;
    }
    csc_logging::CSCLogging::InitLogging("all-clamps");
    try {
        using kelo_client::ClientServiceUtils;
        const auto base = ClientServiceUtils::CreateClientServiceBase(argv[1]);
        const auto client = std::make_shared<AllClamps>(
            ClientServiceUtils::CreateClientServices(*base, Service::getServiceName(), "all-clamps"),
            argc > 2 ? argv[2] : "");
        client->start();
        std::cin.get();  // waits for Enter
        base->stop();
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << std::endl;
        return 1;
    }
}
