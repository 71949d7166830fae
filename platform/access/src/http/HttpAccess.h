#pragma once

#include <zeb/ITpAccess.h>
#include <zeb/ITpAccessFactory.h>
#include <zebutil/HttpSession.h>
#include <zebutil/PocoHttpSessionFactory.h>

#include <memory>
#include <string>
#include <vector>

#include "PeerLookUp.h"

namespace zeb {

/// Sends the requests to one service over one keep-alive HTTP session. Requests are made on the request
/// executor's thread; any thread may cancel.
class HttpAccess : public ITpAccess {
 public:
    /// @throws std::exception if the endpoint's URI cannot be used
    HttpAccess(TpEndpoint endpoint, const zebutil::PocoHttpSessionFactory& sessions);
    ~HttpAccess() override;

    ZebResponse get(const std::string& resource, const std::string& id, const Query& query,
                    Deadline deadline) override;
    ZebResponse post(const std::string& resource, const std::string& id, const std::string& body,
                     Deadline deadline) override;
    void cancel() override;

 private:
    std::string target(const std::string& resource, const std::string& id, const Query& query) const;
    ZebResponse exchange(const zebutil::HttpSession::Request& request, Deadline deadline);

    const TpEndpoint endpoint_;
    PeerLookUp lookUp_;
    std::unique_ptr<zebutil::HttpSession> session_;
};

}  // namespace zeb
