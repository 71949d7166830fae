#include <kelo-client/KeloLogger.h>
#include <kelo-client/KeloLoggerFactory.h>

namespace kelo_client {

std::unique_ptr<zebutil::ILogger> KeloLoggerFactory::createLogger(const std::string& name) {
    return std::make_unique<KeloLogger>(name);
}

}  // namespace kelo_client
