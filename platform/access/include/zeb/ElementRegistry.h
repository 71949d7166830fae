#pragma once

#include <zeb/Export.h>

#include <memory>

namespace zebutil {
class ILogger;
}

namespace zeb {

class IServiceRegistry;

/// The element subscriptions of all services, as one. Any thread may call it.
class ZEB_EXPORT ElementRegistry {
 public:
    ElementRegistry(std::shared_ptr<IServiceRegistry> serviceRegistry,
                    std::shared_ptr<zebutil::ILogger> logger);
    ~ElementRegistry();

    /// Ends all subscriptions. Once it has returned no new call of any handler begins.
    void unsubscribeFromAll();

 private:
    std::shared_ptr<IServiceRegistry> serviceRegistry_;
    std::shared_ptr<zebutil::ILogger> logger_;
};

}  // namespace zeb
