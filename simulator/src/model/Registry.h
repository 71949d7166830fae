#pragma once

#include <string>

#include "BusModel.h"

namespace zebbussim {

/// The service "serviceregistry": keeps one element for each other service that is present. Used on the bus's
/// thread.
class Registry {
 public:
    static constexpr const char* kService = "serviceregistry";
    static constexpr const char* kResource = "services";

    /// Throws `BusError` 400 for the registry's own name, which no other service may have.
    static void refuseOwnName(const std::string& service);

    /// Creates the service in the model, without elements.
    explicit Registry(BusModel& busModel);

    /// Sets the address of this server that the elements contain.
    void setAddress(const std::string& baseUri, const std::string& basePath);

    /// Updates the elements to match the services of the model.
    void update();

 private:
    BusModel& model_;
    std::string serverBaseUri_;
    std::string serverBasePath_ = "/";
};

}  // namespace zebbussim
