#pragma once

namespace csc_logging {

/// Log levels, with the same numbers as `ara::log::LogLevel`.
enum ECSCLogLevel : int {
    kOff = 0,
    kFatal = 1,
    kError = 2,
    kWarning = 3,
    kInfo = 4,
    kDebug = 5,
    kVerbose = 6,
};

}  // namespace csc_logging
