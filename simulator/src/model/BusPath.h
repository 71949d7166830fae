#pragma once

#include <string>
#include <vector>

namespace zebbussim {

/// The path of a collection or an element on the bus.
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

/// The segments of a path that begins with "/". A trailing "/" adds no segment.
std::vector<std::string> splitPath(const std::string& path);

/// Parses "/<service>/<resource>" or "/<service>/<resource>/<id>"; a trailing "/" is allowed. Throws
/// `BusError`: 400 if the text is not a path, 404 if it has too few or too many segments.
BusPath parseBusPath(const std::string& text);

/// Parses the path of an element. Throws `BusError` as `parseBusPath()` does, and 404 for a collection.
BusPath parseElementPath(const std::string& text);

}  // namespace zebbussim
