#pragma once

#include <zeb/Export.h>

#include <memory>

namespace zeb {

class ZebClientServices;

/// Base of the objects that follow a service on behalf of a client. Owned by the client through a shared
/// pointer.
class ZEB_EXPORT ZebClient {
 public:
    explicit ZebClient(std::shared_ptr<ZebClientServices> clientServices);
    virtual ~ZebClient();

    /// Called once. The object registers its listeners here.
    virtual void start() = 0;

 protected:
    const std::shared_ptr<ZebClientServices>& getClientServices() const { return clientServices_; }

 private:
    std::shared_ptr<ZebClientServices> clientServices_;
};

}  // namespace zeb
