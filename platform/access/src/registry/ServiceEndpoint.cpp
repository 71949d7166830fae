#include "ServiceEndpoint.h"

#include <zeb/ZebException.h>

#include <stdexcept>

#include "http/PercentEncoding.h"

namespace zeb {

namespace {

template <typename Get>
ServiceEndpoint endpointAt(const std::string& origin, Get get) {
    ServiceEndpoint endpoint;
    try {
        static_cast<ServiceAddress&>(endpoint) = get();
    } catch (const std::invalid_argument& fault) {
        throw ZebException(fault.what(), origin);
    }
    return endpoint;
}

}  // namespace

ServiceEndpoint ServiceEndpoint::of(const std::string& serverBaseUri, const std::string& basePath,
                                    const std::string& origin) {
    return endpointAt(origin, [&] { return ServiceAddress::of(serverBaseUri, basePath); });
}

ServiceEndpoint ServiceEndpoint::ofAddress(const std::string& address, const std::string& origin) {
    return endpointAt(origin, [&] { return ServiceAddress::parse(address); });
}

std::string ServiceEndpoint::websocketUri(const std::string& service) const {
    // "http" becomes "ws", "https" becomes "wss".
    return "ws" + serverBaseUri.substr(4) + basePath + percentEncode(service);
}

}  // namespace zeb
