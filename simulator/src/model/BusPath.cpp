#include "BusPath.h"

#include <algorithm>

#include "BusError.h"
#include "json/Json.h"

namespace zebbussim {

bool isName(const std::string& text) {
    if (text.empty() || text == "." || text == ".." || !isUtf8(text)) {
        return false;
    }
    return std::none_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7F || character == '/' || character == '\\';
    });
}

std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> segments;
    std::size_t begin = 1;
    while (begin < path.size()) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        segments.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return segments;
}

BusPath parseBusPath(const std::string& text) {
    if (text.empty() || text.front() != '/') {
        throw BusError::badRequest("The path " + excerpt(text) + " does not begin with \"/\"");
    }
    const auto invalidPath = [&] {
        return BusError::invalidPath("The path " + excerpt(text) +
                                     " is neither /<service>/<resource> nor /<service>/<resource>/<id>");
    };
    if (std::count(text.begin(), text.end(), '/') > 4) {
        throw invalidPath();  // before it is split: a path of slashes would take a multiple of its size
    }
    const std::vector<std::string> segments = splitPath(text);
    if (!std::all_of(segments.begin(), segments.end(), isName)) {
        throw BusError::badRequest("The path " + excerpt(text) + " has a segment that is not a name");
    }
    if (segments.size() < 2 || segments.size() > 3) {
        throw invalidPath();
    }
    return {segments[0], segments[1], segments.size() == 3 ? segments[2] : ""};
}

BusPath parseElementPath(const std::string& text) {
    BusPath path = parseBusPath(text);
    if (path.isCollection()) {
        throw BusError::invalidPath("The path " + excerpt(text) + " names a collection, not an element");
    }
    return path;
}

}  // namespace zebbussim
