#include <zeb/ServiceAddress.h>
#include <zebutil/BaseUri.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "http/PercentEncoding.h"

namespace zeb {

namespace {

constexpr std::size_t kLongestPath = 1024;
// Besides letters and digits, what a segment of a path may contain as it is.
constexpr std::string_view kInSegments = "-._~!$&'()*+,;=:@";

bool isControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

// A segment that is percent-encoded stays what it is; of any other, the characters are encoded that need it.
std::string segmentOf(std::string_view text) {
    const std::optional<std::string> decoded = percentDecode(text);
    if (!decoded) {
        throw std::invalid_argument("it contains a \"%\" without two hexadecimal digits");
    }
    if (decoded->empty()) {
        throw std::invalid_argument("it contains an empty segment");
    }
    if (*decoded == "." || *decoded == "..") {
        throw std::invalid_argument("it contains a segment \".\" or \"..\"");
    }
    if (text.find(' ') != std::string_view::npos || decoded->find_first_of("/\\") != std::string::npos ||
        std::any_of(decoded->begin(), decoded->end(), isControl)) {
        throw std::invalid_argument("it contains a character that does not belong into a path");
    }
    std::string segment;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const char character = text[position];
        if (character == '%' || kInSegments.find(character) != std::string_view::npos) {
            segment.push_back(character);
        } else {
            segment.append(percentEncode(text.substr(position, 1)));
        }
    }
    return segment;
}

std::string readBasePath(std::string_view text) {
    if (text.size() > kLongestPath) {
        throw std::invalid_argument("it is longer than 1024 bytes");
    }
    if (text.find_first_of("?#") != std::string_view::npos) {
        throw std::invalid_argument("it contains a query or a fragment");
    }
    std::string path = "/";
    if (!text.empty() && text.front() == '/') {
        text.remove_prefix(1);
    }
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('/'), text.size());
        path.append(segmentOf(text.substr(0, end))).append("/");
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (path.size() > kLongestPath + 2) {  // with the "/" before and behind it
        throw std::invalid_argument("it is longer than 1024 bytes when it is percent-encoded");
    }
    path.shrink_to_fit();  // a registry may name thousands
    return path;
}

}  // namespace

ServiceAddress ServiceAddress::of(const std::string& serverBaseUri, const std::string& basePath) {
    return {zebutil::BaseUri::parse(serverBaseUri).text(), basePathOf(basePath)};
}

ServiceAddress ServiceAddress::parse(const std::string& text) {
    const std::size_t schemeEnd = text.find("://");
    const std::size_t pathBegin =
        schemeEnd == std::string::npos ? std::string::npos : text.find('/', schemeEnd + 3);
    if (pathBegin == std::string::npos) {
        return of(text, "");
    }
    try {
        return of(text.substr(0, pathBegin), text.substr(pathBegin));
    } catch (const std::invalid_argument&) {
        if (text.find('@') == std::string::npos) {
            throw;
        }
        // Perhaps the "/" belongs to a password, of which the exception shows the part before. An address
        // that is refused as a whole shows nothing of it.
        return of(text, "");
    }
}

std::string ServiceAddress::basePathOf(const std::string& text) {
    try {
        return readBasePath(text);
    } catch (const std::invalid_argument& fault) {
        throw std::invalid_argument(zebutil::readableAddress(text) + " is not a base path: " + fault.what());
    }
}

bool ServiceAddress::isSecure() const {
    return serverBaseUri.rfind("https:", 0) == 0;
}

}  // namespace zeb
