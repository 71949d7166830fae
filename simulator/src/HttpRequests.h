#pragma once

#include <string>

#include "BusError.h"
#include "BusModel.h"

namespace zebbussim {

struct HttpAnswer {
    int status;
    std::string body;
    std::string allow;  ///< the methods that the address takes, for 405
};

/// The answer with an error object.
HttpAnswer errorAnswer(const BusError& error);

/// Answers an HTTP request that is no WebSocket handshake. `basePath` begins and ends in "/". Never throws
/// for anything that a request may hold.
HttpAnswer answerHttpRequest(BusModel& model, const std::string& basePath, const std::string& method,
                             const std::string& target, const std::string& body);

}  // namespace zebbussim
