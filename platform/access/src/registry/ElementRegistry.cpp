#include <zeb/ElementRegistry.h>
#include <zeb/IServiceRegistry.h>
#include <zebutil/ILogger.h>

#include <utility>

namespace zeb {

ElementRegistry::ElementRegistry(std::shared_ptr<IServiceRegistry> serviceRegistry,
                                 std::shared_ptr<zebutil::ILogger> logger)
    : serviceRegistry_(std::move(serviceRegistry)), logger_(std::move(logger)) {}

ElementRegistry::~ElementRegistry() = default;

void ElementRegistry::unsubscribeFromAll() {
    logger_->debug("unsubscribing from all elements");
    serviceRegistry_->unsubscribeFromAllElements();
}

}  // namespace zeb
