#pragma once

#include <zeb/Export.h>
#include <zebutil/Optional.h>

#include <memory>
#include <string>

namespace zebutil {
class JsonObject;
}

namespace zeb {

/// An element of some resource of the bus, whatever its type.
///
/// Thread safety: that of a plain value.
class ZEB_EXPORT IXObject {
 public:
    virtual ~IXObject() = default;

    /// Takes over what `json` says and keeps `json`, shared, as what the element was last filled from. What
    /// `json` does not mention stays as it was.
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
