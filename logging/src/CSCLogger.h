#pragma once

#include <ara/log/logging.h>

#include <string>

namespace csc_logging {

/// Refers to the `ara::log` logger of the context `name`. `ara::log` owns that logger.
class CSCLogger {
 public:
    explicit CSCLogger(const std::string& name);

    ara::log::Logger& GetLogger() const noexcept { return logger_; }

 private:
    ara::log::Logger& logger_;
};

}  // namespace csc_logging
