#include <arpa/inet.h>
#include <zebutil/BaseUri.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <stdexcept>

namespace zebutil {

namespace {

constexpr std::size_t kLongestHost = 253;   // of a name in the DNS
constexpr std::size_t kLongestLabel = 63;   // of one part of it
constexpr std::size_t kLongestShown = 100;  // of an address in a message
constexpr std::uint16_t kPlainPort = 80;
constexpr std::uint16_t kSecurePort = 443;
constexpr std::string_view kPlainScheme = "http://";
constexpr std::string_view kSecureScheme = "https://";
constexpr std::string_view kEnd = "?#";  // where a path ends

// These do not depend on the locale.
bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isVisible(char character) {
    return character > ' ' && character <= '~';
}

std::string_view schemeOf(std::string_view text) {
    const std::size_t end = text.find("://");
    const bool isScheme =
        end != std::string_view::npos && std::all_of(text.begin(), text.begin() + end, isLetter);
    return isScheme ? text.substr(0, end + 3) : std::string_view();
}

bool isSame(std::string_view text, std::string_view lowerCase) {
    return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(), [](char one, char other) {
        return (isLetter(one) ? static_cast<char>(one | 0x20) : one) == other;
    });
}

bool isIpv4Address(const std::string& host) {
    in_addr address{};
    return ::inet_pton(AF_INET, host.c_str(), &address) == 1;
}

// A zone is the name of a network interface.
bool isIpv6Address(const std::string& host) {
    const std::size_t zone = host.find('%');
    const std::string_view name =
        zone == std::string::npos ? std::string_view("-") : std::string_view(host).substr(zone + 1);
    in6_addr address{};
    return ::inet_pton(AF_INET6, host.substr(0, zone).c_str(), &address) == 1 && !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char character) {
               return isLetter(character) || isDigit(character) || character == '-' || character == '_' ||
                      character == '.';
           });
}

bool isLabel(std::string_view label) {
    return !label.empty() && label.size() <= kLongestLabel &&
           std::all_of(label.begin(), label.end(), [](char character) {
               return isLetter(character) || isDigit(character) || character == '-' || character == '_';
           });
}

// Name look-ups take "127.1" and "0x7f000001" for addresses.
bool isNumber(std::string_view label) {
    const bool isHexadecimal = label.substr(0, 2) == "0x" || label.substr(0, 2) == "0X";
    label.remove_prefix(isHexadecimal ? 2 : 0);
    return std::all_of(label.begin(), label.end(), [isHexadecimal](char character) {
        const auto lowerCase = static_cast<char>(character | 0x20);
        return isDigit(character) || (isHexadecimal && lowerCase >= 'a' && lowerCase <= 'f');
    });
}

bool isHostName(std::string_view host) {
    if (host.size() > kLongestHost) {
        return false;
    }
    std::string_view label;
    for (std::size_t begin = 0, end = 0; end != std::string_view::npos; begin = end + 1) {
        end = host.find('.', begin);
        label = host.substr(begin, end == std::string_view::npos ? end : end - begin);
        if (!isLabel(label)) {
            return false;
        }
    }
    return !isNumber(label);
}

std::uint16_t portOf(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port == 0) {
        throw std::invalid_argument("its port is not a number from 1 to 65535");
    }
    return port;
}

void requireNothingElse(std::string_view rest) {
    if (!std::all_of(rest.begin(), rest.end(), isVisible) || rest.find('\\') != std::string_view::npos) {
        throw std::invalid_argument("it contains a character that does not belong there");
    }
    if (rest.find('@') != std::string_view::npos) {
        throw std::invalid_argument("it contains user information");
    }
    if (rest.find_first_of(kEnd) != std::string_view::npos) {
        throw std::invalid_argument("it contains a query or a fragment");
    }
    if (rest.find('/') != std::string_view::npos) {
        throw std::invalid_argument("it contains a path");
    }
}

BaseUri parseParts(std::string_view text) {
    BaseUri uri;
    const std::string_view scheme = schemeOf(text);
    uri.isSecure = isSame(scheme, kSecureScheme);
    if (!uri.isSecure && !isSame(scheme, kPlainScheme)) {
        throw std::invalid_argument("its scheme is neither http nor https");
    }
    std::string_view authority = text.substr(scheme.size());
    if (!authority.empty() && authority.back() == '/') {
        authority.remove_suffix(1);
    }
    requireNothingElse(authority);

    const bool isBracketed = !authority.empty() && authority.front() == '[';
    const std::size_t hostEnd =
        isBracketed ? authority.find(']') : std::min(authority.find(':'), authority.size());
    if (hostEnd == std::string_view::npos) {
        throw std::invalid_argument("its host is not an IPv6 address in brackets");
    }
    std::string_view port = authority.substr(hostEnd);
    if (isBracketed) {
        uri.host = authority.substr(1, hostEnd - 1);
        // RFC 6874 writes the "%" before a zone as "%25".
        if (const std::size_t zone = uri.host.find("%25"); zone != std::string::npos) {
            uri.host.erase(zone + 1, 2);
        }
        port.remove_prefix(1);
        if (!isIpv6Address(uri.host)) {
            throw std::invalid_argument("its host is not an IPv6 address in brackets");
        }
    } else {
        uri.host = authority.substr(0, hostEnd);
        if (uri.host.empty()) {
            throw std::invalid_argument("it has no host");
        }
        if (!isIpv4Address(uri.host) && !isHostName(uri.host)) {
            throw std::invalid_argument("its host is neither a name nor an IP address");
        }
    }
    uri.port = uri.isSecure ? kSecurePort : kPlainPort;
    if (!port.empty()) {
        if (port.front() != ':') {
            throw std::invalid_argument("something stands between its host and its port");
        }
        uri.port = portOf(port.substr(1));
    }
    return uri;
}

}  // namespace

BaseUri BaseUri::parse(std::string_view text) {
    try {
        return parseParts(text);
    } catch (const std::invalid_argument& fault) {
        throw std::invalid_argument(readableAddress(text) + " is not the base URI of a server: " +
                                    fault.what() + "; expected http://host:port or https://host:port");
    }
}

std::string BaseUri::hostHeader() const {
    std::string header = name();
    if (header.find(':') != std::string::npos) {
        header = "[" + header + "]";
    }
    return port == (isSecure ? kSecurePort : kPlainPort) ? header : header + ":" + std::to_string(port);
}

std::string BaseUri::text() const {
    const std::size_t zone = host.find('%');
    std::string authority = hostHeader();
    if (zone != std::string::npos) {
        authority.insert(authority.find(']'), "%25" + host.substr(zone + 1));
    }
    return std::string(isSecure ? kSecureScheme : kPlainScheme) + authority;
}

std::string readableAddress(std::string_view address) {
    const std::size_t at = address.rfind('@');
    const std::size_t end = address.find_first_of(kEnd);
    std::string shown;
    if (at != std::string_view::npos) {
        // Where the user information begins and ends may be unclear, so nothing before the last "@" is shown.
        // Behind it may be what remains of a query.
        shown.append(schemeOf(address)).append("***");
        address = end == std::string_view::npos ? address.substr(at) : std::string_view();
    } else {
        address = address.substr(0, end);
    }
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char character : address) {
        if (shown.size() >= kLongestShown) {
            shown += "...";
            break;
        }
        if ((isVisible(character) || character == ' ') && character != '"' && character != '\\') {
            shown.push_back(character);
        } else {
            const auto byte = static_cast<unsigned char>(character);
            shown.append({'\\', 'x', digits[byte >> 4U], digits[byte & 0x0FU]});
        }
    }
    return '"' + shown + '"';
}

}  // namespace zebutil
