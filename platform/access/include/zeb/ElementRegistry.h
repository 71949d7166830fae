#pragma once

#include <zeb/Export.h>

#include <memory>

namespace zebutil {
class ILogger;
}

namespace zeb {

class IServiceRegistry;

/// The element subscriptions of all services, taken together. Any thread may call it.
class ZEB_EXPORT ElementRegistry {
 public:
    ElementRegistry(std::shared_ptr<IServiceRegistry> serviceRegistry,
                    std::shared_ptr<zebutil::ILogger> logger);
    ~ElementRegistry();

    /// Ends all subscriptions. When it returns, no new handler call begins.
    void unsubscribeFromAll();

 private:
    std::shared_ptr<IServiceRegistry> serviceRegistry_;
    std::shared_ptr<zebutil::ILogger> logger_;
};

}  // namespace zeb
