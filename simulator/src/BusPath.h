#pragma once

#include <string>
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

/// The segments of a path that begins with "/"; the empty one after a trailing "/" is left out.
std::vector<std::string> splitPath(const std::string& path);

/// Parses "/<service>/<resource>" or "/<service>/<resource>/<id>"; a trailing "/" is allowed. Throws
/// `BusError`: 400 where the text is no path, 404 where it has too few or too many segments.
BusPath parseBusPath(const std::string& text);

/// Parses the path of an element; throws `BusError` 404 for that of a collection.
BusPath parseElementPath(const std::string& text);

}  // namespace zebbussim
