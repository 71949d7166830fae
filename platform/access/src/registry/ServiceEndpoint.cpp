#include "ServiceEndpoint.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>
#include <zeb/ZebException.h>

#include "http/PercentEncoding.h"

namespace zeb {

ServiceEndpoint ServiceEndpoint::of(const std::string& serverBaseUri, const std::string& basePath) {
    ServiceEndpoint endpoint;
    try {
        const Poco::URI uri(serverBaseUri);
        const bool isHttp = uri.getScheme() == "http" || uri.getScheme() == "https";
        if (!isHttp || uri.getHost().empty() || !(uri.getPathEtc().empty() || uri.getPathEtc() == "/")) {
            throw ZebException(
                "\"" + serverBaseUri + "\" is not the base URI of a server: expected http://host:port",
                "service registry");
        }
        endpoint.serverBaseUri = uri.getScheme() + "://" + uri.getAuthority();
    } catch (const Poco::Exception& exception) {
        throw ZebException(
            "\"" + serverBaseUri + "\" is not the base URI of a server: " + exception.displayText(),
            "service registry");
    }
    if (basePath.empty() || basePath.front() != '/') {
        endpoint.basePath = "/";
    }
    endpoint.basePath += basePath;
    if (endpoint.basePath.back() != '/') {
        endpoint.basePath += "/";
    }
    return endpoint;
}

std::string ServiceEndpoint::websocketUri(const std::string& service) const {
    // "http" becomes "ws", "https" becomes "wss".
    return "ws" + serverBaseUri.substr(4) + basePath + percentEncode(service);
}

}  // namespace zeb
