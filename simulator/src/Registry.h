#pragma once

#include <string>

#include "BusModel.h"

namespace zebbussim {

/// Keeps the service "serviceregistry" true: one element per other service that is present.
class Registry {
 public:
    static constexpr const char* kService = "serviceregistry";
    static constexpr const char* kResource = "services";

    /// Creates the service in the model, without elements.
    explicit Registry(BusModel& busModel);

    /// Where this server is, as clients are told.
    void setAddress(const std::string& baseUri, const std::string& basePath);

    /// Brings the elements in line with the services of the model.
    void update();

 private:
    BusModel& model_;
    std::string serverBaseUri_;
    std::string serverBasePath_ = "/";
};

}  // namespace zebbussim
