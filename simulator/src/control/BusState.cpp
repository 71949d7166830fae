#include "BusState.h"

#include "bus/Bus.h"
#include "json/Json.h"
#include "model/ServiceModels.h"

namespace zebbussim {

namespace {

/// Writes a JSON object or list, member by member.
class JsonWriter {
 public:
    explicit JsonWriter(char open) : text_(1, open), close_(open == '{' ? '}' : ']') {}

    JsonWriter& member(std::string_view key, std::string_view json) {
        comma();
        text_.append(quoted(key)).append(":").append(json);
        return *this;
    }
    JsonWriter& text(std::string_view key, std::string_view value) { return member(key, quoted(value)); }
    JsonWriter& number(std::string_view key, std::int64_t value) {
        return member(key, std::to_string(value));
    }
    JsonWriter& boolean(std::string_view key, bool value) { return member(key, value ? "true" : "false"); }
    JsonWriter& entry(std::string_view json) {
        comma();
        text_.append(json);
        return *this;
    }
    std::string done() { return text_ + close_; }

 private:
    void comma() {
        if (text_.size() > 1) {
            text_ += ',';
        }
    }

    std::string text_;
    char close_;
};

std::string fieldText(const FieldModel& field) {
    JsonWriter text('{');
    text.text("key", field.key).text("kind", kindText(field.kind));
    if (!field.literals.empty()) {
        JsonWriter literals('[');
        for (const std::string_view literal : field.literals) {
            literals.entry(quoted(literal));
        }
        text.member("literals", literals.done());
    }
    return text.done();
}

std::string resourceText(const std::string& service, const std::string& name, Resource& resource) {
    JsonWriter text('{');
    text.text("name", name);
    if (const ResourceModel* const model = findResourceModel(service, name)) {
        JsonWriter fields('[');
        for (const FieldModel& field : model->fields) {
            fields.entry(fieldText(field));
        }
        text.member("fields", fields.done());
    }
    return text.member("elements", *resource.text()).done();
}

std::string serviceText(const std::string& name, Service& service) {
    JsonWriter resources('[');
    for (auto& [resourceName, resource] : service.resources) {
        resources.entry(resourceText(name, resourceName, resource));
    }
    return JsonWriter('{')
        .text("name", name)
        .boolean("present", service.present)
        .boolean("available", service.available)
        .member("resources", resources.done())
        .done();
}

std::string clientText(std::uint64_t number, const ClientTable::Client& client) {
    JsonWriter subscriptions('[');
    for (const auto& [id, subscription] : client.subscriptions) {
        subscriptions.entry(JsonWriter('{')
                                .text("subscription", id)
                                .text("path", subscription.path)
                                .number("since", subscription.since.count())
                                .done());
    }
    return JsonWriter('{')
        .number("client", static_cast<std::int64_t>(number))
        .text("service", client.service)
        .text("address", client.address)
        .text("program", client.program)
        .number("since", client.since.count())
        .member("subscriptions", subscriptions.done())
        .done();
}

std::string faultText(std::uint64_t number, const ActiveFaults::Fault& fault) {
    JsonWriter text('{');
    text.number("fault", static_cast<std::int64_t>(number)).text("kind", fault.kind);
    if (!fault.path.empty()) {
        text.text("path", fault.path);
    }
    return text.text("text", fault.text).number("since", fault.since.count()).done();
}

std::int64_t signedOf(std::uint64_t number) {
    return static_cast<std::int64_t>(number);
}

}  // namespace

std::string stateOf(Bus& bus) {
    JsonWriter services('[');
    for (const std::string& name : bus.model().allServices()) {
        if (name != Registry::kService) {
            services.entry(serviceText(name, bus.model().known(name)));
        }
    }
    JsonWriter clients('[');
    for (const auto& [number, client] : bus.clients().clients()) {
        clients.entry(clientText(number, client));
    }
    JsonWriter faults('[');
    for (const auto& [number, fault] : bus.faults().all()) {
        faults.entry(faultText(number, fault));
    }
    return JsonWriter('{')
        .text("name", "zeb-bus-sim")
        .text("version", CLAMPCONTROL_VERSION)
        .number("now", bus.journal().now().count())
        .text("baseUri", bus.baseUri())
        .text("basePath", bus.context().basePath)
        .member("services", services.done())
        .member("clients", clients.done())
        .member("faults", faults.done())
        .done();
}

const char* liveNameOf(const BusEvent& event) {
    switch (event.kind) {
        case BusEvent::Kind::ElementAdded:
        case BusEvent::Kind::ElementChanged:
            return "element";
        case BusEvent::Kind::ElementRemoved:
            return "elementRemoved";
        case BusEvent::Kind::ServiceChanged:
            return "service";
        case BusEvent::Kind::Connected:
            return "connected";
        case BusEvent::Kind::Disconnected:
            return "disconnected";
        case BusEvent::Kind::Request:
            return "request";
        case BusEvent::Kind::Subscribed:
            return "subscribed";
        case BusEvent::Kind::Unsubscribed:
            return "unsubscribed";
        case BusEvent::Kind::FaultBegun:
            return "fault";
        case BusEvent::Kind::FaultEnded:
            return "cleared";
        case BusEvent::Kind::Violation:
            return "violation";
        case BusEvent::Kind::StepDone:
            return "step";
        case BusEvent::Kind::RequestArrived:
            break;
    }
    return nullptr;
}

std::string liveTextOf(const BusEvent& event) {
    JsonWriter text('{');
    text.number("t", event.time.count());
    switch (event.kind) {
        case BusEvent::Kind::ElementAdded:
        case BusEvent::Kind::ElementChanged:
            text.text("path", event.path).member("data", *event.data);
            break;
        case BusEvent::Kind::ElementRemoved:
            text.text("path", event.path);
            break;
        case BusEvent::Kind::ServiceChanged:
            text.text("name", event.name)
                .boolean("present", event.present)
                .boolean("available", event.available);
            break;
        case BusEvent::Kind::Connected:
            text.number("client", signedOf(event.client))
                .text("service", event.name)
                .text("address", event.address)
                .text("program", event.program);
            break;
        case BusEvent::Kind::Disconnected:
            text.number("client", signedOf(event.client)).text("reason", event.text);
            break;
        case BusEvent::Kind::Request:
            text.text("method", event.name)
                .text("path", event.path)
                .number("status", event.status)
                .text("program", event.program);
            break;
        case BusEvent::Kind::Subscribed:
        case BusEvent::Kind::Unsubscribed:
            text.number("client", signedOf(event.client))
                .text("subscription", event.subscription)
                .text("path", event.path);
            if (!event.text.empty()) {
                text.text("reason", event.text);
            }
            break;
        case BusEvent::Kind::FaultBegun:
        case BusEvent::Kind::FaultEnded:
            text.number("fault", signedOf(event.fault)).text("kind", event.name);
            if (!event.path.empty()) {
                text.text("path", event.path);
            }
            if (!event.text.empty()) {
                text.text("text", event.text);
            }
            break;
        case BusEvent::Kind::Violation:
            text.number("client", signedOf(event.client))
                .text("program", event.program)
                .text("text", event.text);
            break;
        case BusEvent::Kind::StepDone:
            text.text("kind", event.name).text("text", event.text).text("source", event.source);
            break;
        case BusEvent::Kind::RequestArrived:
            break;
    }
    return text.done();
}

}  // namespace zebbussim
