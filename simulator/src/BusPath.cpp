#include "BusPath.h"

#include <algorithm>

#include "BusError.h"
#include "Json.h"

namespace zebbussim {

namespace {

/// The segments of a path that begins with "/"; the empty one after a trailing "/" is left out.
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

int hexDigit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    return -1;
}

std::string decoded(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (text[position] != '%') {
            result += text[position];
            continue;
        }
        const int high = position + 2 < text.size() ? hexDigit(text[position + 1]) : -1;
        const int low = position + 2 < text.size() ? hexDigit(text[position + 2]) : -1;
        if (high < 0 || low < 0) {
            throw BusError::badRequest("Broken percent-encoding in " +
                                       (isUtf8(text) ? quoted(text) : "the request target"));
        }
        result += static_cast<char>(high * 16 + low);
        position += 2;
    }
    if (!isUtf8(result)) {
        throw BusError::badRequest("\"" + (isUtf8(text) ? text : "A part of the request target") +
                                   "\" does not decode to UTF-8");
    }
    return result;
}

std::vector<std::pair<std::string, std::string>> parseTerms(const std::string& query) {
    std::vector<std::pair<std::string, std::string>> terms;
    std::size_t begin = 0;
    while (begin < query.size()) {
        const std::size_t end = std::min(query.find('&', begin), query.size());
        const std::string term = query.substr(begin, end - begin);
        begin = end + 1;
        if (term.empty()) {
            continue;
        }
        const std::size_t equals = term.find('=');
        if (equals == std::string::npos) {
            throw BusError::filterInvalid("The query term \"" + decoded(term) + "\" has no \"=\"");
        }
        terms.emplace_back(decoded(term.substr(0, equals)), decoded(term.substr(equals + 1)));
    }
    return terms;
}

/// The path and query of a target in absolute form, "http://host/path", which HTTP allows in every request.
std::string withoutAuthority(const std::string& target) {
    const std::string scheme = "http://";
    if (target.compare(0, scheme.size(), scheme) != 0) {
        return target;
    }
    const std::size_t end = target.find_first_of("/?", scheme.size());
    if (end == std::string::npos) {
        return "/";
    }
    return target[end] == '/' ? target.substr(end) : "/" + target.substr(end);
}

}  // namespace

bool isName(const std::string& text) {
    if (text.empty() || text == "." || text == ".." || !isUtf8(text)) {
        return false;
    }
    return std::none_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7F || character == '/' || character == '\\';
    });
}

BusPath parseBusPath(const std::string& text) {
    if (text.empty() || text.front() != '/') {
        throw BusError::badRequest("The path " + quoted(text) + " does not begin with \"/\"");
    }
    const std::vector<std::string> segments = splitPath(text);
    if (!std::all_of(segments.begin(), segments.end(), isName)) {
        throw BusError::badRequest("The path " + quoted(text) + " has a segment that is not a name");
    }
    if (segments.size() < 2 || segments.size() > 3) {
        throw BusError::invalidPath("The path " + quoted(text) +
                                    " is neither /<service>/<resource> nor /<service>/<resource>/<id>");
    }
    return {segments[0], segments[1], segments.size() == 3 ? segments[2] : ""};
}

BusPath parseElementPath(const std::string& text) {
    BusPath path = parseBusPath(text);
    if (path.isCollection()) {
        throw BusError::invalidPath("The path " + quoted(text) +
                                    " is that of a collection, not of an element");
    }
    return path;
}

std::string RequestTarget::path() const {
    std::string text;
    for (const std::string& segment : segments) {
        text += "/" + segment;
    }
    return text.empty() ? "/" : text;
}

RequestTarget parseRequestTarget(const std::string& target, const std::string& basePath) {
    std::string path = withoutAuthority(target);
    if (path.empty() || path.front() != '/') {
        throw BusError::badRequest("The request target does not begin with \"/\"");
    }
    path = path.substr(0, path.find('#'));
    std::string query;
    const std::size_t questionMark = path.find('?');
    if (questionMark != std::string::npos) {
        query = path.substr(questionMark + 1);
        path.resize(questionMark);
    }

    RequestTarget result;
    for (const std::string& segment : splitPath(path)) {
        result.segments.push_back(decoded(segment));
        if (!isName(result.segments.back())) {
            throw BusError::badRequest("The request target has a segment that is not a name: \"" +
                                       decoded(segment) + "\"");
        }
    }
    const std::vector<std::string> base = splitPath(basePath);
    if (result.segments.size() < base.size() ||
        !std::equal(base.begin(), base.end(), result.segments.begin())) {
        throw BusError::invalidPath("The bus of this server is at " + basePath);
    }
    result.segments.erase(result.segments.begin(),
                          result.segments.begin() + static_cast<std::ptrdiff_t>(base.size()));
    result.terms = parseTerms(query);
    return result;
}

}  // namespace zebbussim
