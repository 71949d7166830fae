#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zebbussim {

/// The terms of a query, in order: key and value.
using QueryTerms = std::vector<std::pair<std::string, std::string>>;

/// An HTTP request target, split and decoded. Each request's target is parsed once and handed on as this
/// value.
struct RequestTarget {
    std::vector<std::string> segments;  ///< without those of the base path
    QueryTerms terms;

    /// "/a/b/c"; "/" when there are no segments.
    std::string path() const;
};

/// Returns a base path with "/" at either end. Throws `BusError` 400 for one that no request can have.
std::string checkedBasePath(const std::string& text);

/// `basePath` is what `checkedBasePath()` returned: it begins and ends with "/". Throws `BusError`: 400 for a
/// malformed target, 404 for one outside the base path.
RequestTarget parseRequestTarget(const std::string& target, const std::string& basePath);

}  // namespace zebbussim
