#pragma once

#include <zeb/Export.h>
#include <zeb/ITpAccessFactory.h>

#include <memory>

namespace zebutil {
class PocoHttpSessionFactory;
}

namespace zeb {

/// Creates transport access over HTTP, with one keep-alive session per service.
class ZEB_EXPORT HttpAccessFactory : public ITpAccessFactory {
 public:
    explicit HttpAccessFactory(std::shared_ptr<zebutil::PocoHttpSessionFactory> sessionFactory);

    std::shared_ptr<ITpAccess> createAccess(const TpEndpoint& endpoint) override;

 private:
    std::shared_ptr<zebutil::PocoHttpSessionFactory> sessionFactory_;
};

}  // namespace zeb
