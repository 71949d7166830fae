#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "Journal.h"

namespace zebbussim {

/// The WebSockets that are open, with their subscriptions. Kept up to date by the journal.
///
/// Used on the bus's thread.
class ClientTable {
 public:
    struct Subscription {
        std::string path;
        std::chrono::milliseconds since{0};
    };
    struct Client {
        std::string service;
        std::string address;
        std::string program;
        std::chrono::milliseconds since{0};
        std::map<std::string, Subscription> subscriptions;  ///< by id
    };
    using Clients = std::map<std::uint64_t, Client>;

    explicit ClientTable(Journal& journal);

    const Clients& clients() const { return clients_; }

 private:
    void take(const BusEvent& event);

    Clients clients_;
    Journal::Registration registration_;
};

}  // namespace zebbussim
