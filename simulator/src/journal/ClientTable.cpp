#include "ClientTable.h"

namespace zebbussim {

ClientTable::ClientTable(Journal& journal)
    : registration_(
          journal.listen([this](const BusEvent& event) { take(event); }, Journal::Interest::Clients)) {}

void ClientTable::take(const BusEvent& event) {
    switch (event.kind) {
        case BusEvent::Kind::Connected:
            clients_[event.client] = {event.name, event.address, event.program, event.time, {}};
            break;
        case BusEvent::Kind::Disconnected:
            clients_.erase(event.client);
            break;
        case BusEvent::Kind::Subscribed:
            if (const auto found = clients_.find(event.client); found != clients_.end()) {
                found->second.subscriptions[event.subscription] = {event.path, event.time};
            }
            break;
        case BusEvent::Kind::Unsubscribed:
            if (const auto found = clients_.find(event.client); found != clients_.end()) {
                found->second.subscriptions.erase(event.subscription);
            }
            break;
        default:
            break;
    }
}

}  // namespace zebbussim
