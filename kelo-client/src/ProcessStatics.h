#pragma once

#include "ExitGate.h"

namespace kelo_client {

/// To be passed, on a thread of the application, by what uses statics of the library: the tables of the data
/// objects, and the names of services and resources. Closed before they are destroyed.
extern csc_logging::ExitGate processStaticsGate;

}  // namespace kelo_client
