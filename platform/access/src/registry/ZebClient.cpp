#include <zeb/ZebClient.h>
#include <zeb/ZebClientServices.h>

#include <utility>

namespace zeb {

ZebClientServices::ZebClientServices(std::string clientName,
                                     std::shared_ptr<IServiceRegistry> serviceRegistry,
                                     std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
                                     std::shared_ptr<ElementRegistry> elementRegistry,
                                     std::shared_ptr<Properties> properties,
                                     std::shared_ptr<zebutil::JsonObject> valueDictionary)
    : clientName_(std::move(clientName)),
      serviceRegistry_(std::move(serviceRegistry)),
      loggerFactory_(std::move(loggerFactory)),
      elementRegistry_(std::move(elementRegistry)),
      properties_(std::move(properties)),
      valueDictionary_(std::move(valueDictionary)) {}

ZebClientServices::~ZebClientServices() = default;

ZebClient::ZebClient(std::shared_ptr<ZebClientServices> clientServices)
    : clientServices_(std::move(clientServices)) {}

ZebClient::~ZebClient() = default;

}  // namespace zeb
