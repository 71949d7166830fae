#pragma once

#include <zeb/Export.h>

#include <map>
#include <memory>
#include <string>

namespace zebutil {
class JsonObject;
class LoggerFactory;
}  // namespace zebutil

namespace zeb {

class ElementRegistry;
class IServiceRegistry;

/// The platform objects that one client uses. Immutable; shared by the client's objects.
class ZEB_EXPORT ZebClientServices {
 public:
    using Properties = std::map<std::string, std::shared_ptr<std::string>>;

    /// @param properties      texts that the client's parts share; may be empty, but not null
    /// @param valueDictionary replacement values for the client, or null
    ZebClientServices(std::string clientName, std::shared_ptr<IServiceRegistry> serviceRegistry,
                      std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
                      std::shared_ptr<ElementRegistry> elementRegistry,
                      std::shared_ptr<Properties> properties,
                      std::shared_ptr<zebutil::JsonObject> valueDictionary);
    ~ZebClientServices();

    const std::string& getClientName() const { return clientName_; }
    std::shared_ptr<IServiceRegistry> getServiceRegistry() const { return serviceRegistry_; }
    std::shared_ptr<zebutil::LoggerFactory> getLoggerFactory() const { return loggerFactory_; }
    std::shared_ptr<ElementRegistry> getElementRegistry() const { return elementRegistry_; }
    std::shared_ptr<Properties> getProperties() const { return properties_; }
    std::shared_ptr<zebutil::JsonObject> getValueDictionary() const { return valueDictionary_; }

 private:
    std::string clientName_;
    std::shared_ptr<IServiceRegistry> serviceRegistry_;
    std::shared_ptr<zebutil::LoggerFactory> loggerFactory_;
    std::shared_ptr<ElementRegistry> elementRegistry_;
    std::shared_ptr<Properties> properties_;
    std::shared_ptr<zebutil::JsonObject> valueDictionary_;
};

}  // namespace zeb
