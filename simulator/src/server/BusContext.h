#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "HeavyWork.h"
#include "Line.h"
#include "Observations.h"
#include "UnfinishedInput.h"
#include "faults/HttpFaults.h"
#include "faults/MessageFaults.h"
#include "http/RequestHead.h"
#include "journal/Journal.h"
#include "model/BusModel.h"
#include "websocket/Subscriptions.h"

namespace zebbussim {

class ControlInterface;

/// The parts of the bus that all connections share. Everything but the observations is used on the bus's
/// thread only.
struct BusContext {
    BusModel& model;
    Subscriptions& subscriptions;
    Observations& observations;
    HttpFaults& faults;
    MessageFaults& messageFaults;
    Journal& journal;
    ControlInterface& control;
    std::string basePath;
    ServerNames names;
    std::chrono::milliseconds patience;  ///< see `BusSimulator::Options`
    Line line;
    std::uint64_t lastClient = 0;  ///< the number of the latest WebSocket
    UnfinishedInput unfinishedInput;
    HeavyWork heavyWork;
    std::size_t queuedBytes = 0;  ///< of all WebSockets
    std::size_t answerBytes = 0;  ///< of all answers that are being written
};

}  // namespace zebbussim
