#pragma once

#include <Poco/Net/HTTPClientSession.h>
#include <zeb/ITpAccess.h>
#include <zeb/ITpAccessFactory.h>
#include <zebutil/PocoHttpSessionFactory.h>

#include <chrono>
#include <memory>
#include <string>

#include "io/IoThread.h"

namespace zeb {

/// Sends the requests to one service over one keep-alive HTTP session. Used only on the request executor's
/// thread.
class HttpAccess : public ITpAccess {
 public:
    HttpAccess(TpEndpoint endpoint, std::unique_ptr<Poco::Net::HTTPClientSession> session);
    ~HttpAccess() override;

    ZebResponse get(const std::string& resource, const std::string& id, const Query& query) override;
    ZebResponse post(const std::string& resource, const std::string& id, const std::string& body) override;

 private:
    std::string target(const std::string& resource, const std::string& id, const Query& query) const;
    ZebResponse exchange(const std::string& method, const std::string& target, const std::string& body);
    ZebResponse exchangeOnce(const std::string& method, const std::string& target, const std::string& body,
                             std::chrono::steady_clock::time_point deadline);

    const TpEndpoint endpoint_;
    const std::unique_ptr<Poco::Net::HTTPClientSession> session_;
    const std::shared_ptr<IoThread> ioThread_;
};

}  // namespace zeb
