#include "HttpAccess.h"

#include <zeb/HttpAccessFactory.h>
#include <zeb/ZebException.h>
#include <zebutil/BaseUri.h>

#include <cstddef>
#include <utility>

#include "PercentEncoding.h"

namespace zeb {

namespace {

// No notification is larger, whether of one element or of a collection.
constexpr std::size_t kLargestAnswer = std::size_t{1} * 1024 * 1024;

std::string segment(const std::string& name) {
    if (name.empty() || name == "." || name == "..") {
        throw ZebException("\"" + name + "\" cannot be part of a path", "HTTP");
    }
    return percentEncode(name);
}

}  // namespace

HttpAccess::HttpAccess(TpEndpoint endpoint, const zebutil::PocoHttpSessionFactory& sessions)
    : endpoint_(std::move(endpoint)),
      lookUp_(endpoint_.address.empty() ? zebutil::BaseUri::parse(endpoint_.serverBaseUri).host
                                        : endpoint_.address),
      session_(sessions.createSession(endpoint_.serverBaseUri, endpoint_.service,
                                      [this](auto deadline) { return lookUp_.addresses(deadline); })) {}

HttpAccess::~HttpAccess() = default;

ZebResponse HttpAccess::get(const std::string& resource, const std::string& id, const Query& query,
                            Deadline deadline) {
    return exchange({"GET", target(resource, id, query), {}}, deadline);
}

ZebResponse HttpAccess::post(const std::string& resource, const std::string& id, const std::string& body,
                             Deadline deadline) {
    return exchange({"POST", target(resource, id, {}), body}, deadline);
}

void HttpAccess::cancel() {
    lookUp_.cancel();
    session_->cancel();
}

std::string HttpAccess::target(const std::string& resource, const std::string& id, const Query& query) const {
    std::string text = endpoint_.basePath;
    if (text.empty() || text.back() != '/') {
        text.push_back('/');
    }
    text.append(segment(endpoint_.service)).append("/").append(segment(resource));
    if (id.empty()) {
        text.append(endpoint_.separator);
    } else {
        text.append("/").append(segment(id));
    }
    char delimiter = '?';
    for (const auto& [key, value] : query) {
        text.push_back(std::exchange(delimiter, '&'));
        text.append(percentEncode(key)).append("=").append(percentEncode(value));
    }
    return text;
}

ZebResponse HttpAccess::exchange(const zebutil::HttpSession::Request& request, Deadline deadline) {
    try {
        zebutil::HttpSession::Answer answer = session_->exchange(request, deadline, kLargestAnswer);
        return ZebResponse(answer.status, std::move(answer.body));
    } catch (const std::exception& exception) {
        throw ZebException(exception.what(), request.method + " " + endpoint_.serverBaseUri + request.target);
    }
}

HttpAccessFactory::HttpAccessFactory(std::shared_ptr<zebutil::PocoHttpSessionFactory> sessionFactory)
    : sessionFactory_(std::move(sessionFactory)) {}

std::shared_ptr<ITpAccess> HttpAccessFactory::createAccess(const TpEndpoint& endpoint) {
    return std::make_shared<HttpAccess>(endpoint, *sessionFactory_);
}

}  // namespace zeb
