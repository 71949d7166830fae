#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "json/JsonMembers.h"

namespace zebbussim {

/// Something that has happened on the bus. The comments of the members say which events have them; the others
/// leave them empty.
struct BusEvent {
    enum class Kind {
        ElementAdded,
        ElementChanged,
        ElementRemoved,
        ServiceChanged,
        Connected,     ///< a WebSocket was opened
        Disconnected,  ///< it has ended
        RequestArrived,
        Request,  ///< an HTTP request was answered, or will never be
        Subscribed,
        Unsubscribed,
        FaultBegun,  ///< one that lasts
        FaultEnded,
        Violation,  ///< a client did what the protocol does not allow
        StepDone,
    };

    Kind kind{};
    std::chrono::milliseconds time{0};  ///< since the bus was made

    /// Of an element, a request, a subscription, a fault; empty for a fault of everything.
    std::string path;
    /// The present state of an element; the text of a step.
    SharedText data;
    /// In words: a fault, a step, a violation; why a subscription or a connection has ended.
    std::string text;
    /// Of a service; the kind of a fault or of a step; the method of a request.
    std::string name;

    std::uint64_t client = 0;  ///< the WebSocket; 0: none
    std::string program;       ///< of the client, as it calls itself
    std::string address;       ///< of the client
    std::string subscription;  ///< its id
    std::uint64_t fault = 0;   ///< its number
    int status = 0;            ///< of an answer
    bool present = true;       ///< of a service
    bool available = true;     ///< of a service
    std::string source;        ///< of a step: who has asked for it
    /// Of a step that a scenario does: its time in the scenario.
    std::optional<std::chrono::milliseconds> at;
};

}  // namespace zebbussim
