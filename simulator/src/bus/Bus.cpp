#include "Bus.h"

#include <boost/beast/websocket/rfc6455.hpp>
#include <utility>

#include "OptionCheck.h"
#include "http/RequestTarget.h"
#include "json/Json.h"
#include "model/BusError.h"
#include "model/ModelCheck.h"
#include "steps/Step.h"

namespace zebbussim {

namespace {

const BusSimulator::Options& checked(const BusSimulator::Options& options) {
    checkOptions(options);
    return options;
}

}  // namespace

Bus::Bus(const BusSimulator::Options& options, RunLater runLater)
    : runLater_(std::move(runLater)),
      subscriptions_(model_, observations_, messageFaults_, journal_, runLater_),
      registry_(model_),
      control_(*this),
      context_{model_,
               subscriptions_,
               observations_,
               httpFaults_,
               messageFaults_,
               journal_,
               control_,
               checkedBasePath(checked(options).basePath),
               {!options.tlsCertificateFile.empty(), options.hostNames},
               options.patience,
               {},
               0,
               {},
               {}} {
    model_.setStrict(!options.lenient);
    model_.setListener(this);
}

void Bus::serve(BusServer* server, const std::string& baseUri) {
    server_ = server;
    ++absence_;
    if (server != nullptr) {
        baseUri_ = baseUri;
        context_.queuedBytes = 0;
        context_.answerBytes = 0;
        registry_.setAddress(baseUri, context_.basePath);
    }
}

void Bus::perform(const Step& step, const std::string& source, std::optional<std::chrono::milliseconds> at) {
    step.perform(*this);
    BusEvent event;
    event.kind = BusEvent::Kind::StepDone;
    event.name = step.kind();
    event.source = source;
    event.at = at;
    event.path = step.textOf("path");
    event.data = std::make_shared<const std::string>(step.text());
    event.text = step.inWords();
    journal_.note(std::move(event));
}

// ------------------------------------------------------------------------------------- what is on the bus

void Bus::load(std::string_view services) {
    for (const auto& [key, resources] : membersOf(services)) {
        const std::string name = stringOf(key).value();
        if (!isObject(resources)) {
            throw BusError::badRequest("The service " + excerpt(name) + " is not an object of resources");
        }
        addService(name, resources);
    }
}

void Bus::set(const BusPath& path, std::string_view changes, bool isChecked) {
    Registry::refuseOwnName(path.service);
    if (isChecked && model_.isStrict()) {
        requireModelled(path, changes);
    }
    model_.set(path, changes);
}

void Bus::add(const BusPath& path, std::string_view members, bool isChecked) {
    Registry::refuseOwnName(path.service);
    if (isChecked && model_.isStrict()) {
        requireModelled(path, members);
    }
    model_.addElement(path, members);
}

void Bus::addService(const std::string& name, std::string_view resources) {
    Registry::refuseOwnName(name);
    model_.addService(name, resources);
}

void Bus::setServicePresent(const std::string& name, bool isPresent) {
    Registry::refuseOwnName(name);
    model_.setServicePresent(name, isPresent);
}

void Bus::remove(const BusPath& path) {
    Registry::refuseOwnName(path.service);
    model_.removeElement(path);
}

void Bus::setServiceAvailable(const std::string& name, bool isAvailable) {
    model_.setServiceAvailable(name, isAvailable);
}

// ----------------------------------------------------------------------------------------------- faults

void Bus::beginFault(const Step& step, const std::string& path, std::function<void()> undo) {
    faults_.begin(step.kind(), {step.kind(), path, step.inWords(), {}, std::move(undo)});
}

void Bus::beginHttpFault(const std::string& kind, const std::string& path, const HttpFault& fault,
                         const std::string& inWords) {
    httpFaults_.set(path, fault);
    faults_.begin("http", {kind, path, inWords, {}, [this, path] { httpFaults_.remove(path); }});
}

void Bus::clearHttpFaults() {
    for (const char* const kind : {"delay", "ignore", "status", "bytes", "contentType", "pad", "cut"}) {
        faults_.endOfKind(kind);
    }
}

void Bus::clearFaults() {
    faults_.endAll();
    messageFaults_.skipped.clear();
    const std::vector<std::string> services = model_.allServices();
    for (const std::string& name : services) {
        model_.setServicePresent(name, true);
        model_.setServiceAvailable(name, true);
    }
}

void Bus::sendText(const std::string& path, const std::string& text) {
    for (Subscriber* const subscriber : subscriptions_.subscribersOf(path)) {
        subscriber->send(text, nullptr, nullptr);
    }
}

void Bus::sendBytes(const std::string& path, const std::string& bytes) {
    for (Subscriber* const subscriber : subscriptions_.subscribersOf(path)) {
        subscriber->sendBytes(bytes);
    }
}

void Bus::forEachPeer(const std::string& service, const std::function<void(WebSocketPeer&)>& act) {
    if (!service.empty()) {
        model_.known(service);
    }
    if (server_ != nullptr) {
        for (const auto& peer : server_->peersOf(service)) {
            act(*peer);
        }
    }
}

void Bus::stopListening(std::optional<std::chrono::milliseconds> time, const Step& step) {
    if (server_ == nullptr) {
        throw BusError::badRequest("The bus does not run");
    }
    server_->stopListening(step.kind() == "restart");
    const std::uint64_t absence = ++absence_;
    const auto undo = [this] {
        ++absence_;
        if (server_ != nullptr) {
            server_->listenAgain();
        }
    };
    faults_.begin("absence", {step.kind(), "", step.inWords(), {}, undo});
    if (time) {
        runLater_(*time, [this, absence, kind = step.kind()] {
            if (absence_ == absence) {
                faults_.endOfKind(kind);
            }
        });
    }
}

// --------------------------------------------------------------------------------- changes of the model

void Bus::noteElement(BusEvent::Kind kind, const BusPath& path, const SharedText& data) {
    if (!journal_.isHeard()) {
        return;
    }
    BusEvent event;
    event.kind = kind;
    event.path = path.text();
    event.data = data;
    journal_.note(std::move(event));
}

void Bus::elementChanged(const BusPath& path, const Element& element) {
    noteElement(BusEvent::Kind::ElementChanged, path, element.text());
    subscriptions_.notifyElement(path, element);
}

void Bus::elementAdded(const BusPath& path) {
    noteElement(BusEvent::Kind::ElementAdded, path, model_.element(path).text());
    subscriptions_.notifyCollection(path);
}

void Bus::elementRemoved(const BusPath& path) {
    noteElement(BusEvent::Kind::ElementRemoved, path, nullptr);
    subscriptions_.endElement(path);
    subscriptions_.notifyCollection(path);
}

void Bus::serviceChanged(const std::string& service) {
    const Service& changed = model_.known(service);
    BusEvent event;
    event.kind = BusEvent::Kind::ServiceChanged;
    event.name = service;
    event.present = changed.present;
    event.available = changed.available;
    journal_.note(std::move(event));
}

void Bus::serviceClosed(const std::string& service) {
    if (server_ != nullptr) {
        for (const auto& peer : server_->peersOf(service)) {
            peer->close(boost::beast::websocket::close_code::going_away);
        }
    }
}

}  // namespace zebbussim
