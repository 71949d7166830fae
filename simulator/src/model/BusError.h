#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace zebbussim {

/// The error of a refused request, with the members of the protocol's error object.
class BusError : public std::runtime_error {
 public:
    BusError(int errorNumber, const std::string& errorReason, const std::string& message)
        : std::runtime_error(message), number(errorNumber), reason(errorReason) {}

    const int number;
    const std::string reason;

    static BusError badRequest(const std::string& message) { return {400, "bad_request", message}; }
    static BusError filterInvalid(const std::string& message) { return {400, "filter_invalid", message}; }
    static BusError invalidPath(const std::string& message) { return {404, "invalid_path", message}; }
    static BusError unavailableData(const std::string& message) { return {404, "unavailable_data", message}; }
    static BusError unavailable(const std::string& message) { return {503, "service_unavailable", message}; }
};

/// A member of an object that is unknown or has a wrong value.
class MemberError : public BusError {
 public:
    /// @param quotedKey as it stands in JSON
    MemberError(std::string quotedKey, const std::string& message)
        : BusError(badRequest(message)), key(std::move(quotedKey)) {}

    const std::string key;
};

}  // namespace zebbussim
