#include <zebutil/BaseUri.h>
#include <zebutil/PocoHttpSessionFactory.h>
#include <zebutil/TlsContextQuestion.h>

#include <utility>

namespace zebutil {

PocoHttpSessionFactory::PocoHttpSessionFactory() {
    TlsContextQuestion::readEnvironment();
}

std::unique_ptr<HttpSession> PocoHttpSessionFactory::createSession(const std::string& baseUri,
                                                                   const std::string& service,
                                                                   HttpSession::Addresses addresses) const {
    return std::make_unique<HttpSession>(BaseUri::parse(baseUri), service, std::move(addresses));
}

}  // namespace zebutil
