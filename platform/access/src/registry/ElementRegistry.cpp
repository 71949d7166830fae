#include <zeb/ElementRegistry.h>
#include <zeb/IServiceRegistry.h>
#include <zebutil/ILogger.h>

#include <new>
#include <utility>

namespace zeb {

ElementRegistry::ElementRegistry(std::shared_ptr<IServiceRegistry> serviceRegistry,
                                 std::shared_ptr<zebutil::ILogger> logger)
    : serviceRegistry_(std::move(serviceRegistry)), logger_(std::move(logger)) {}

ElementRegistry::~ElementRegistry() = default;

void ElementRegistry::unsubscribeFromAll() {
    try {
        logger_->debug("unsubscribing from all elements");
    } catch (const std::bad_alloc&) {
        // There is no memory for the line. What it tells of is done all the same.
    }
    serviceRegistry_->unsubscribeFromAllElements();
}

}  // namespace zeb
