#pragma once

#include <zeb/Export.h>

#include <exception>
#include <memory>
#include <string>

namespace zebutil {
class JsonObject;
}

namespace zeb {

/// The answer to one request. Created by the platform and passed to the request's handlers as const.
class ZEB_EXPORT ZebResponse {
 public:
    /// No answer: status 0, empty body.
    ZebResponse() = default;
    ZebResponse(int statusCode, std::string body) : statusCode_(statusCode), body_(std::move(body)) {}

    /// The HTTP status, or 0 if no answer was received.
    int getStatusCode() const { return statusCode_; }

    /// The body as it was received.
    const std::string& getBody() const { return body_; }

    /// Why the request failed: no answer was received, or its body could not be used. Otherwise null, even if
    /// the status is an error.
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
