#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zebbussim {

/// The place of a collection or an element on the bus.
struct BusPath {
    std::string service;
    std::string resource;
    std::string id;  ///< empty for a collection

    bool isCollection() const { return id.empty(); }
    std::string collectionText() const { return "/" + service + "/" + resource; }
    std::string text() const { return isCollection() ? collectionText() : collectionText() + "/" + id; }
};

/// Whether a text can name a service, a resource or an element.
bool isName(const std::string& text);

/// Parses "/<service>/<resource>" or "/<service>/<resource>/<id>"; a trailing "/" is allowed. Throws
/// `BusError`: 400 where the text is no path, 404 where it has too few or too many segments.
BusPath parseBusPath(const std::string& text);

/// Parses the path of an element; throws `BusError` 404 for that of a collection.
BusPath parseElementPath(const std::string& text);

/// An HTTP request target, split and decoded.
struct RequestTarget {
    std::vector<std::string> segments;                       ///< without those of the base path
    std::vector<std::pair<std::string, std::string>> terms;  ///< of the query, in order

    /// "/a/b/c"; "/" when there are no segments.
    std::string path() const;
};

/// `basePath` begins and ends in "/". Throws `BusError`: 400 for a malformed target, 404 outside the base
/// path.
RequestTarget parseRequestTarget(const std::string& target, const std::string& basePath);

}  // namespace zebbussim
