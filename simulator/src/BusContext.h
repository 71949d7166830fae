#pragma once

#include <string>

#include "BusModel.h"
#include "HttpFaults.h"
#include "Observations.h"
#include "Subscriptions.h"

namespace zebbussim {

/// What every connection works on; all of it, but the observations, on the bus's thread alone.
struct BusContext {
    BusModel& model;
    Subscriptions& subscriptions;
    Observations& observations;
    HttpFaults& faults;
    std::string basePath;
};

}  // namespace zebbussim
