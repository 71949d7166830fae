#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zebbussim {

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
