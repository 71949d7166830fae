#include "HttpAccess.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/SocketImpl.h>
#include <Poco/Net/StreamSocket.h>
#include <zeb/HttpAccessFactory.h>
#include <zeb/ZebException.h>

#include <array>
#include <chrono>
#include <istream>
#include <ostream>
#include <utility>

#include "ExchangeDeadline.h"
#include "PercentEncoding.h"

namespace zeb {

namespace {

constexpr std::size_t kMaximumBodySize = std::size_t{16} * 1024 * 1024;
// Callers wait five seconds for the outcome of an exchange.
constexpr std::chrono::milliseconds kExchangeTimeLimit{4500};
// The part of it that connecting and sending may take. The HTTP session limits each of them.
constexpr std::chrono::milliseconds kConnectAndSendTimeLimit{4000};

std::string readBody(std::istream& stream) {
    std::string body;
    std::array<char, 4096> chunk{};
    do {
        stream.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        body.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
        if (body.size() > kMaximumBodySize) {
            throw ZebException("the answer is larger than 16 MiB", "HTTP");
        }
    } while (stream);
    return body;
}

}  // namespace

HttpAccess::HttpAccess(TpEndpoint endpoint, std::unique_ptr<Poco::Net::HTTPClientSession> session)
    : endpoint_(std::move(endpoint)), session_(std::move(session)), ioThread_(IoThread::shared()) {}

HttpAccess::~HttpAccess() = default;

ZebResponse HttpAccess::get(const std::string& resource, const std::string& id, const Query& query) {
    return exchange(Poco::Net::HTTPRequest::HTTP_GET, target(resource, id, query), {});
}

ZebResponse HttpAccess::post(const std::string& resource, const std::string& id, const std::string& body) {
    return exchange(Poco::Net::HTTPRequest::HTTP_POST, target(resource, id, {}), body);
}

std::string HttpAccess::target(const std::string& resource, const std::string& id, const Query& query) const {
    std::string text = endpoint_.basePath;
    if (text.empty() || text.back() != '/') {
        text.push_back('/');
    }
    text.append(percentEncode(endpoint_.service)).append("/").append(percentEncode(resource));
    if (id.empty()) {
        text.append(endpoint_.separator);
    } else {
        text.append("/").append(percentEncode(id));
    }
    char delimiter = '?';
    for (const auto& [key, value] : query) {
        text.push_back(std::exchange(delimiter, '&'));
        text.append(percentEncode(key)).append("=").append(percentEncode(value));
    }
    return text;
}

ZebResponse HttpAccess::exchange(const std::string& method, const std::string& target,
                                 const std::string& body) {
    const auto deadline = std::chrono::steady_clock::now() + kExchangeTimeLimit;
    const bool isKeptSession = session_->connected();
    const auto isTooLateToAskAgain = [deadline] {
        return std::chrono::steady_clock::now() + kConnectAndSendTimeLimit > deadline;
    };
    try {
        if (isKeptSession) {
            try {
                return exchangeOnce(method, target, body, deadline);
            } catch (const Poco::Net::NoMessageException&) {
                // The server may close a kept-alive connection at any time. No byte of an answer has arrived,
                // so the request can be repeated on a new connection.
                if (isTooLateToAskAgain()) {
                    throw;
                }
                session_->reset();
            } catch (const Poco::Net::MessageException&) {
                throw;  // an answer had begun: repeating the request could execute it twice
            } catch (const Poco::Net::NetException&) {
                // An answer may have begun or not. Only a GET can be repeated without harm.
                if (method != Poco::Net::HTTPRequest::HTTP_GET || isTooLateToAskAgain()) {
                    throw;
                }
                session_->reset();
            }
        }
        return exchangeOnce(method, target, body, deadline);
    } catch (const Poco::Exception& exception) {
        session_->reset();
        throw ZebException(exception.displayText(), method + " " + endpoint_.serverBaseUri + target);
    } catch (...) {
        session_->reset();
        throw;
    }
}

ZebResponse HttpAccess::exchangeOnce(const std::string& method, const std::string& target,
                                     const std::string& body,
                                     std::chrono::steady_clock::time_point deadline) {
    Poco::Net::HTTPRequest request(method, target, Poco::Net::HTTPMessage::HTTP_1_1);
    request.set("Accept", "application/json");
    if (!body.empty()) {
        request.setContentType("application/json");
        request.setContentLength64(static_cast<Poco::Int64>(body.size()));
    }
    session_->sendRequest(request) << body << std::flush;

    // Connecting and sending have their own limits. The answer needs this one, because its duration is up to
    // the server.
    const ExchangeDeadline watch(ioThread_, session_->socket().impl()->sockfd(), deadline);
    try {
        Poco::Net::HTTPResponse response;
        std::istream& stream = session_->receiveResponse(response);
        std::string answer = readBody(stream);
        if (response.hasContentLength() &&
            static_cast<Poco::Int64>(answer.size()) != response.getContentLength64()) {
            throw ZebException("the connection ended after " + std::to_string(answer.size()) + " of " +
                                   std::to_string(response.getContentLength64()) + " bytes of the answer",
                               method + " " + endpoint_.serverBaseUri + target);
        }
        if (watch.hasPassed()) {
            throw Poco::TimeoutException("the answer was not complete after 4.5 s");
        }
        return ZebResponse(response.getStatus(), std::move(answer));
    } catch (...) {
        if (watch.hasPassed()) {
            throw Poco::TimeoutException("the answer was not complete after 4.5 s");
        }
        throw;
    }
}

HttpAccessFactory::HttpAccessFactory(std::shared_ptr<zebutil::PocoHttpSessionFactory> sessionFactory)
    : sessionFactory_(std::move(sessionFactory)) {}

std::shared_ptr<ITpAccess> HttpAccessFactory::createAccess(const TpEndpoint& endpoint) {
    return std::make_shared<HttpAccess>(endpoint, sessionFactory_->createSession(endpoint.serverBaseUri));
}

}  // namespace zeb
