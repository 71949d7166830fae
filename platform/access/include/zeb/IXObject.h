#pragma once

#include <zeb/Export.h>
#include <zebutil/Optional.h>

#include <memory>
#include <string>

namespace zebutil {
class JsonObject;
}

namespace zeb {

/// An element of any resource of the bus.
///
/// Thread safety: that of a plain value.
class ZEB_EXPORT IXObject {
 public:
    virtual ~IXObject() = default;

    /// Takes over the values in `json` and keeps `json`, shared, as the JSON that the element was last filled
    /// from. Values that `json` does not contain stay as they are.
    virtual void fillFromJson(std::shared_ptr<zebutil::JsonObject> json) = 0;

    virtual const zebutil::Optional<std::string>& getId() const = 0;
    virtual const zebutil::Optional<std::string>& getName() const = 0;
    virtual const zebutil::Optional<std::string>& getUri() const = 0;

 protected:
    IXObject() = default;
    IXObject(const IXObject&) = default;
    IXObject(IXObject&&) = default;
    IXObject& operator=(const IXObject&) = default;
    IXObject& operator=(IXObject&&) = default;
};

}  // namespace zeb
