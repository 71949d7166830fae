#pragma once

#include <zeb/Export.h>
#include <zeb/IXObject.h>
#include <zeb/XObjectDescriptor.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace zeb {

template <typename D>
class XObject;

namespace detail {

// Only declared. With 0 as argument, the first is chosen where it exists.
template <typename D>
typename D::Resource* elementClass(int);
template <typename D>
XObject<D>* elementClass(long);

template <typename D>
using ElementClass = std::remove_pointer_t<decltype(elementClass<D>(0))>;

}  // namespace detail

/// An element: a descriptor with its values, and the JSON object that it was last filled from, if any. The
/// base of the resources' objects; `XObject<XObjectDescriptor>` is an element of an unknown resource.
///
/// A descriptor class `D` names the class of its resource's objects `D::Resource`. This class can be built
/// from a descriptor. Without the name it is `XObject<D>`.
///
/// Its constructor from JSON is the element factory: it builds what a request or a notification delivers.
///
/// Thread safety: that of a plain value. The JSON object is shared with the code that passed it in.
template <typename D>
class ZEB_EXPORT XObject : public IXObject {
 public:
    using Desctype = D;

    XObject() = default;
    /// An element that was not filled from JSON.
    explicit XObject(D descriptor) : descriptor_(std::move(descriptor)) {}
    /// Throws as `fillFromJson` does.
    explicit XObject(std::shared_ptr<zebutil::JsonObject> json) { XObject::fillFromJson(std::move(json)); }

    /// Takes over "id", "name" and "uri". Does nothing if `json` is null. Throws if one of them cannot be
    /// read as a string.
    void fillFromJson(std::shared_ptr<zebutil::JsonObject> json) override {
        if (json) {
            json_ = std::move(json);
            descriptor_.fillIdentity(*json_);
        }
    }

    const zebutil::Optional<std::string>& getId() const override { return descriptor_.getId(); }
    const zebutil::Optional<std::string>& getName() const override { return descriptor_.getName(); }
    const zebutil::Optional<std::string>& getUri() const override { return descriptor_.getUri(); }

    /// A copy. It contains the filter that the values of the element have made, and the query options. In a
    /// request it therefore finds the element only while it has these values.
    D getDescriptor() const { return descriptor_; }

    /// The same as the descriptor's functions of these names.
    std::shared_ptr<zebutil::JsonObject> getAsReference() const { return descriptor_.getAsReference(); }
    std::string getReferenceUri() const { return descriptor_.getReferenceUri(); }

    /// A copy with the same values, but with another uri and with the id at the end of that uri. It has no
    /// JSON, because none described such an element. It is an object of the resource's class, also if it is
    /// made through this base.
    std::unique_ptr<detail::ElementClass<D>> copyWithIdFromUri(const std::string& uri) const {
        D descriptor = descriptor_;
        descriptor.setIdFromUri(uri);
        return std::make_unique<detail::ElementClass<D>>(std::move(descriptor));
    }

 protected:
    const D& descriptor() const { return descriptor_; }
    D& descriptor() { return descriptor_; }
    const std::shared_ptr<zebutil::JsonObject>& json() const { return json_; }

 private:
    D descriptor_;
    std::shared_ptr<zebutil::JsonObject> json_;
};

}  // namespace zeb
