#pragma once

#include <zeb/Export.h>

#include <exception>
#include <memory>
#include <string>

namespace zebutil {
class JsonObject;
}

namespace zeb {

/// The answer to one request. Made by the platform, handed to the request's handlers as const.
class ZEB_EXPORT ZebResponse {
 public:
    /// A response that never came: status 0, no body.
    ZebResponse() = default;
    ZebResponse(int statusCode, std::string body) : statusCode_(statusCode), body_(std::move(body)) {}

    /// The HTTP status, or 0 when no answer was received.
    int getStatusCode() const { return statusCode_; }

    /// The body as it was received.
    const std::string& getBody() const { return body_; }

    /// What kept the request from being answered; null when it was answered, whatever the status.
    std::shared_ptr<const std::exception> getHttpException() const { return httpException_; }
    void setHttpException(std::shared_ptr<const std::exception> exception) {
        httpException_ = std::move(exception);
    }

 private:
    int statusCode_ = 0;
    std::string body_;
    std::shared_ptr<const std::exception> httpException_;
};

}  // namespace zeb
