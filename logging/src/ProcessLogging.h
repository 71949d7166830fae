#pragma once

#include <csc_logging/CSCLoggingApi.h>

#include "ProcessStatic.h"

namespace csc_logging {

/// The logging of the process, behind CSCLogging. Messages that are logged after its end are dropped.
/// (`ara::log` itself is never destroyed.)
struct ProcessLoggingObject {
    CSCLoggingApi api;

    /// Nothing has to happen before the logging is destroyed.
    void end() {}
};

using ProcessLogging = ProcessStatic<ProcessLoggingObject>;

}  // namespace csc_logging
