#pragma once

#include <ara/log/logging.h>

#include <string>

namespace csc_logging {

/// The `ara::log` logger of the context `name`, which `ara::log` keeps.
class CSCLogger {
 public:
    explicit CSCLogger(const std::string& name);

    ara::log::Logger& GetLogger() const noexcept { return logger_; }

 private:
    ara::log::Logger& logger_;
};

}  // namespace csc_logging
