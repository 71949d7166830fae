#include "RequestHead.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/beast/http/error.hpp>
#include <optional>

#include "model/BusError.h"

namespace zebbussim {

namespace http = boost::beast::http;

namespace {

struct Authority {
    std::string host;  ///< an IPv6 address in brackets
    std::string port;  ///< empty for the scheme's own
};

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Reads "host" or "host:port". Nothing if it is neither.
std::optional<Authority> parseAuthority(std::string_view text) {
    const std::size_t bracket = text.empty() || text.front() != '[' ? 0 : text.find(']');
    if (bracket == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t colon = std::min(text.find(':', bracket), text.size());
    const std::string_view host = text.substr(0, colon);
    const std::string_view port = text.substr(std::min(colon + 1, text.size()));
    const bool isHost = !host.empty() && host.find_first_of(" \t,/\\?#@") == std::string_view::npos &&
                        (bracket == 0 || bracket + 1 == host.size());
    if (!isHost || port.size() > 5 || !std::all_of(port.begin(), port.end(), isDigit)) {
        return std::nullopt;
    }
    return Authority{std::string(host), std::string(port)};
}

bool isIpAddress(const std::string& host) {
    boost::system::error_code error;
    if (host.front() == '[') {
        const std::size_t end =
            std::min(host.find('%'), host.size() - 1);  // the name of an interface follows
        boost::asio::ip::make_address_v6(host.substr(1, end - 1), error);
    } else {
        boost::asio::ip::make_address_v4(host, error);
    }
    return !error;
}

bool isOneOf(const std::string& host, const ServerNames& names) {
    // No name service says what an address or "localhost" means, so no page can make them mean this machine.
    // The port is not compared: it may be that of a forwarder.
    return isIpAddress(host) || boost::beast::iequals(host, "localhost") ||
           std::any_of(names.hosts.begin(), names.hosts.end(),
                       [&](const std::string& name) { return boost::beast::iequals(host, name); });
}

bool isControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return (byte < 0x20 && byte != '\t') || byte == 0x7F;
}

void checkBytes(std::string_view raw) {
    for (std::size_t index = 0; index < raw.size(); ++index) {
        const auto byte = static_cast<unsigned char>(raw[index]);
        const char following = index + 1 < raw.size() ? raw[index + 1] : '\n';
        if (byte == '\r' ? following != '\n' : byte == '\n' && (index == 0 || raw[index - 1] != '\r')) {
            throw BusError::badRequest("A line of the request's head does not end with CR LF");
        }
        if (byte == '\n' && (following == ' ' || following == '\t')) {
            throw BusError::badRequest("A header of the request is folded into several lines");
        }
        if (byte != '\r' && byte != '\n' && isControl(raw[index])) {
            throw BusError::badRequest("The request's head contains a control character");
        }
    }
}

void checkLength(const http::request_header<>& head) {
    const auto lengths = head.count(http::field::content_length);
    const auto codings = head.count(http::field::transfer_encoding);
    if (lengths > 1 || (lengths == 1 && head[http::field::content_length].contains(','))) {
        throw BusError::badRequest("The request has more than one Content-Length");
    }
    if (codings == 0) {
        return;
    }
    if (lengths > 0) {
        throw BusError::badRequest("The request has a Content-Length and a Transfer-Encoding");
    }
    const auto coding = head[http::field::transfer_encoding];
    if (codings > 1 || head.version() < 11 || !boost::beast::iequals(coding, "chunked")) {
        throw BusError::badRequest("The Transfer-Encoding of a request must be \"chunked\" and nothing else");
    }
}

BusError foreign(const std::string& what) {
    return {403, "forbidden", what};
}

void checkHost(const Authority& host, const ServerNames& names) {
    if (!isOneOf(host.host, names)) {
        throw foreign("The request is for another host: this server answers to IP addresses, localhost" +
                      std::string(names.hosts.empty() ? "" : ", and the names that it was given"));
    }
}

/// The authority of a target in absolute form, "http://host/path", which HTTP allows in every request.
std::optional<std::string_view> authorityOf(std::string_view target) {
    const std::size_t begin = target.find("://");
    if (target.empty() || target.front() == '/' || begin == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = target.substr(begin + 3);
    return rest.substr(0, rest.find_first_of("/?#"));
}

void checkTarget(const http::request_header<>& head, const ServerNames& names) {
    const auto target = head.target();
    const std::optional<std::string_view> authority = authorityOf({target.data(), target.size()});
    if (!authority) {
        return;
    }
    const std::optional<Authority> host = parseAuthority(*authority);
    if (!host) {
        throw BusError::badRequest("The request target has a host that cannot be read");
    }
    checkHost(*host, names);
}

/// Whether an `Origin` names the server that the request is for.
bool isOwnOrigin(std::string_view origin, const Authority& host, bool isTls) {
    const std::string scheme = isTls ? "https://" : "http://";
    const std::string ownPort = isTls ? "443" : "80";
    if (!boost::beast::iequals(origin.substr(0, scheme.size()), scheme)) {
        return false;
    }
    const std::optional<Authority> page = parseAuthority(origin.substr(scheme.size()));
    const auto portOf = [&](const Authority& authority) {
        return authority.port.empty() ? ownPort : authority.port;
    };
    return page && boost::beast::iequals(page->host, host.host) && portOf(*page) == portOf(host);
}

void checkSender(const http::request_header<>& head, const ServerNames& names) {
    const auto hosts = head.count(http::field::host);
    const auto origins = head.count(http::field::origin);
    if (hosts > 1 || (hosts == 0 && head.version() >= 11)) {
        throw BusError::badRequest("The request needs exactly one Host");
    }
    std::optional<Authority> host;
    if (hosts == 1) {
        const auto value = head[http::field::host];
        host = parseAuthority({value.data(), value.size()});
        if (!host) {
            throw BusError::badRequest("The Host of the request cannot be read");
        }
        checkHost(*host, names);
    }
    checkTarget(head, names);
    const auto origin = head[http::field::origin];
    if (origins > 1 ||
        (origins == 1 && (!host || !isOwnOrigin({origin.data(), origin.size()}, *host, names.isTls)))) {
        throw foreign("The request comes from a web page of another server");
    }
}

}  // namespace

void checkHead(const http::request_header<>& head, std::string_view raw, const ServerNames& names) {
    checkBytes(raw);
    checkLength(head);
    checkSender(head, names);
}

void checkChunkHead(std::uint64_t /*size*/, boost::beast::string_view extensions,
                    boost::system::error_code& error) {
    if (std::any_of(extensions.begin(), extensions.end(), isControl)) {
        error = http::error::bad_chunk_extension;
    }
}

bool waitsForContinue(const http::request_header<>& head) {
    return head.version() >= 11 && boost::beast::iequals(head[http::field::expect], "100-continue");
}

}  // namespace zebbussim
