#pragma once

#include <string>
#include <utility>
#include <vector>

#include "RequestTarget.h"
#include "model/BusError.h"
#include "model/BusModel.h"

namespace zebbussim {

struct HttpAnswer {
    int status;
    std::string body;
    std::string allow{};    ///< with 405: the methods that are allowed
    std::string problem{};  ///< why the request was refused, in words
    std::string contentType = "application/json";
    std::vector<std::pair<std::string, std::string>> headers{};  ///< others
    bool isLive = false;  ///< the connection stays open and gets the events of the bus
};

/// An answer with an error object.
HttpAnswer errorAnswer(const BusError& error);

/// Answers an HTTP request that is not a WebSocket handshake. Never throws for anything that a request can
/// contain.
HttpAnswer answerHttpRequest(BusModel& model, const std::string& method, const RequestTarget& target,
                             const std::string& body);

}  // namespace zebbussim
