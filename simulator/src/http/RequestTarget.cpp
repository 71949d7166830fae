#include "RequestTarget.h"

#include <algorithm>
#include <cstddef>

#include "json/Json.h"
#include "model/BusError.h"
#include "model/BusPath.h"

namespace zebbussim {

namespace {

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

QueryTerms parseTerms(const std::string& query) {
    QueryTerms terms;
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

/// The path and query of a target. HTTP also allows the absolute form "http://host/path" in every request.
std::string withoutAuthority(const std::string& target) {
    for (const std::string scheme : {"http://", "https://"}) {
        if (target.compare(0, scheme.size(), scheme) == 0) {
            const std::size_t end = std::min(target.find_first_of("/?#", scheme.size()), target.size());
            return (target[end] == '/' ? "" : "/") + target.substr(end);
        }
    }
    return target;
}

/// The segments of a valid base path, as those of a request are after they are decoded.
std::vector<std::string> decodedSegments(const std::string& basePath) {
    std::vector<std::string> segments = splitPath(basePath);
    std::transform(segments.begin(), segments.end(), segments.begin(), decoded);
    return segments;
}

}  // namespace

std::string checkedBasePath(const std::string& text) {
    std::string whole = text.empty() || text.front() != '/' ? "/" + text : text;
    whole += whole.back() == '/' ? "" : "/";
    const auto fail = [&](const std::string& why) {
        throw BusError::badRequest("The base path " + excerpt(text) + " " + why);
    };
    if (whole.find_first_of("?# \\") != std::string::npos) {
        fail("contains a query, a fragment, a blank or a backslash");
    }
    for (const std::string& segment : decodedSegments(whole)) {
        if (!isName(segment)) {
            fail("has a segment that is not a name");
        }
    }
    return whole;
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
                                       result.segments.back() + "\"");
        }
    }
    const std::vector<std::string> base = decodedSegments(basePath);
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
