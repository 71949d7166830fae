#include "WebsocketAddress.h"

#include <zeb/ZebException.h>
#include <zebutil/BaseUri.h>

#include <algorithm>
#include <stdexcept>

#include "http/PercentEncoding.h"

namespace zeb {

namespace {

constexpr std::string_view kPlainScheme = "ws://";
constexpr std::string_view kSecureScheme = "wss://";

bool beginsWith(std::string_view text, std::string_view begin) {
    return text.substr(0, begin.size()) == begin;
}

bool isTarget(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character > ' ' && character <= '~' && character != '#' && character != '\\';
    });
}

}  // namespace

WebsocketAddress WebsocketAddress::parse(const std::string& uri) {
    try {
        if (!beginsWith(uri, kPlainScheme) && !beginsWith(uri, kSecureScheme)) {
            throw std::invalid_argument("its scheme is neither ws nor wss");
        }
        const std::size_t targetBegin = std::min(uri.find('/', uri.find("//") + 2), uri.size());
        // "ws" becomes "http", "wss" becomes "https".
        const auto server = zebutil::BaseUri::parse("http" + uri.substr(2, targetBegin - 2));
        WebsocketAddress address;
        address.host = server.host;
        address.name = server.name();
        address.port = std::to_string(server.port);
        address.hostHeader = server.hostHeader();
        address.isSecure = server.isSecure;
        address.target = targetBegin < uri.size() ? uri.substr(targetBegin) : "/";
        const auto service = percentDecode(address.target.substr(address.target.rfind('/') + 1));
        if (!isTarget(address.target) || !service) {
            throw std::invalid_argument("its path is not percent-encoded");
        }
        address.service = *service;
        return address;
    } catch (const std::invalid_argument& fault) {
        // What precedes an "@" may be part of a password, and the fault may show it.
        const bool isShown = uri.find('@') == std::string::npos;
        throw ZebException(zebutil::readableAddress(uri) +
                               " is not the address of a WebSocket, expected ws://host:port/path: " +
                               (isShown ? fault.what() : "it contains user information"),
                           "WebSocket");
    }
}

}  // namespace zeb
