#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "control/ControlInterface.h"
#include "faults/ActiveFaults.h"
#include "faults/HttpFaults.h"
#include "faults/MessageFaults.h"
#include "journal/ClientTable.h"
#include "journal/Journal.h"
#include "model/BusModel.h"
#include "model/Registry.h"
#include "scenario/RecordedSteps.h"
#include "server/BusContext.h"
#include "server/BusServer.h"
#include "server/Observations.h"
#include "websocket/Subscriptions.h"
#include "zeb-bus-sim/BusSimulator.h"

namespace zebbussim {

class Step;

/// The parts of the bus, and what can be done to them.
///
/// Owned by the simulator. Used on the bus's thread; while the bus does not run, on the threads of the
/// callers, one at a time. Everything but the observations, which any thread may read.
class Bus : private BusListener {
 public:
    /// Runs a function on the bus's thread after a delay. Called while the bus runs only.
    using RunLater = std::function<void(std::chrono::milliseconds, std::function<void()>)>;

    /// Throws `std::invalid_argument` for options that cannot be used.
    Bus(const BusSimulator::Options& options, RunLater runLater);
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    BusContext& context() { return context_; }
    BusModel& model() { return model_; }
    Observations& observations() { return observations_; }
    const Observations& observations() const { return observations_; }
    Journal& journal() { return journal_; }
    const ClientTable& clients() const { return clients_; }
    const RecordedSteps& recorded() const { return recorded_; }
    ActiveFaults& faults() { return faults_; }
    MessageFaults& messageFaults() { return messageFaults_; }
    Line& line() { return context_.line; }
    const std::string& baseUri() const { return baseUri_; }

    /// The bus runs: it is served by this server, at this address. Null: it does not run any more.
    void serve(BusServer* server, const std::string& baseUri);

    /// Does a step, and notes it. Throws `BusError`.
    /// @param source who has asked for it: "scenario", "control" or "application"
    /// @param at the time in the scenario, if it belongs to one
    void perform(const Step& step, const std::string& source,
                 std::optional<std::chrono::milliseconds> at = std::nullopt);

    // ------------------------------------------------------------ what is on the bus; throws `BusError`

    void load(std::string_view services);
    /// @param isChecked whether to refuse what does not fit the model of the resource
    void set(const BusPath& path, std::string_view changes, bool isChecked);
    void add(const BusPath& path, std::string_view members, bool isChecked);
    void remove(const BusPath& path);
    void addService(const std::string& name, std::string_view resources);
    void setServicePresent(const std::string& name, bool isPresent);
    void setServiceAvailable(const std::string& name, bool isAvailable);

    // ------------------------------------------------------------------------------------- faults

    /// Lists a fault that lasts and has begun.
    void beginFault(const Step& step, const std::string& path, std::function<void()> undo);
    void beginHttpFault(const std::string& kind, const std::string& path, const HttpFault& fault,
                        const std::string& inWords);
    void clearHttpFaults();
    /// Ends everything that lasts, and brings the services back.
    void clearFaults();
    void holdFirstNotifications(const Subscriptions::Hold& hold) {
        subscriptions_.holdFirstNotifications(hold);
    }
    void releaseFirstNotifications() { subscriptions_.releaseFirstNotifications(); }
    void sendText(const std::string& path, const std::string& text);
    void sendBytes(const std::string& path, const std::string& bytes);
    /// The open WebSockets of a service; of all, if the name is empty.
    void forEachPeer(const std::string& service, const std::function<void(WebSocketPeer&)>& act);
    /// Ends all connections and listens again after a time, or when the fault is ended.
    void stopListening(std::optional<std::chrono::milliseconds> time, const Step& step);

 private:
    void elementChanged(const BusPath& path, const Element& element) override;
    void elementAdded(const BusPath& path) override;
    void elementRemoved(const BusPath& path) override;
    void servicesChanged() override { registry_.update(); }
    void serviceChanged(const std::string& service) override;
    void serviceClosed(const std::string& service) override;
    void noteElement(BusEvent::Kind kind, const BusPath& path, const SharedText& data);

    const RunLater runLater_;
    std::string baseUri_;
    BusServer* server_ = nullptr;  ///< null while the bus does not run
    BusModel model_;
    Observations observations_;
    Journal journal_;
    ClientTable clients_{journal_};
    RecordedSteps recorded_{journal_};
    ActiveFaults faults_{journal_};
    HttpFaults httpFaults_;
    MessageFaults messageFaults_;
    Subscriptions subscriptions_;
    Registry registry_;
    ControlInterface control_;
    BusContext context_;
    std::uint64_t absence_ = 0;  ///< counts the times that nobody listened
};

}  // namespace zebbussim
