#include "WebsocketAddress.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>
#include <zeb/ZebException.h>

namespace zeb {

WebsocketAddress WebsocketAddress::parse(const std::string& uri) {
    Poco::URI parsed;
    try {
        parsed = uri;
    } catch (const Poco::Exception& exception) {
        throw ZebException("\"" + uri + "\" is not a URI: " + exception.displayText(), "WebSocket");
    }
    const bool isSecure = parsed.getScheme() == "wss";
    if ((parsed.getScheme() != "ws" && !isSecure) || parsed.getHost().empty()) {
        throw ZebException("\"" + uri + "\" is not the address of a WebSocket: expected ws://host:port/path",
                           "WebSocket");
    }
    WebsocketAddress address;
    address.host = parsed.getHost();
    const unsigned short defaultPort = isSecure ? 443 : 80;
    address.port = std::to_string(parsed.getPort() != 0 ? parsed.getPort() : defaultPort);
    address.isSecure = isSecure;
    address.hostHeader = parsed.getAuthority();
    address.target = parsed.getPathEtc().empty() ? "/" : parsed.getPathEtc();
    return address;
}

}  // namespace zeb
