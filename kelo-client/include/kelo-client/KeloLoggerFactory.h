#pragma once

#include <clampcontrolclient/Export.h>
#include <zebutil/LoggerFactory.h>

#include <memory>
#include <string>

namespace kelo_client {

/// Creates a KeloLogger for each facility of the platform. Shared by all platform objects that log.
///
/// Thread safety: may be called from any thread.
class CLAMPCONTROL_EXPORT KeloLoggerFactory : public zebutil::LoggerFactory {
 public:
    std::unique_ptr<zebutil::ILogger> createLogger(const std::string& name) override;
};

}  // namespace kelo_client
