#pragma once

#include <zeb/Export.h>
#include <zeb/ZebResponse.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zeb {

/// Transport access: requests to one service. Used on the request executor's thread only; each call blocks
/// until the answer is there or the transport's time limit, shorter than five seconds, has passed.
class ZEB_EXPORT ITpAccess {
 public:
    /// Name and value, not yet encoded.
    using Query = std::vector<std::pair<std::string, std::string>>;

    virtual ~ITpAccess() = default;

    /// Reads the elements of a resource, or one of them when `id` is not empty.
    /// @throws std::exception when no answer came; an error status is an answer
    virtual ZebResponse get(const std::string& resource, const std::string& id, const Query& query) = 0;

    /// Merges a JSON object into an element.
    /// @throws std::exception when no answer came
    virtual ZebResponse post(const std::string& resource, const std::string& id, const std::string& body) = 0;
};

}  // namespace zeb
