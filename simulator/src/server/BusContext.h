#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "HeavyWork.h"
#include "Observations.h"
#include "UnfinishedInput.h"
#include "http/HttpFaults.h"
#include "http/RequestHead.h"
#include "model/BusModel.h"
#include "websocket/Subscriptions.h"

namespace zebbussim {

/// The parts of the bus that all connections share. Everything but the observations is used on the bus's
/// thread only.
struct BusContext {
    BusModel& model;
    Subscriptions& subscriptions;
    Observations& observations;
    HttpFaults& faults;
    std::string basePath;
    ServerNames names;
    std::chrono::milliseconds patience;  ///< see `BusSimulator::Options`
    UnfinishedInput unfinishedInput;
    HeavyWork heavyWork;
    std::size_t queuedBytes = 0;  ///< of all WebSockets
    std::size_t answerBytes = 0;  ///< of all answers that are being written
};

}  // namespace zebbussim
