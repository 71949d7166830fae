#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Json.h"

namespace zebbussim {

/// A text shared by many messages.
using SharedText = std::shared_ptr<const std::string>;

/// The members of a JSON object, sorted by their keys. Never changes; copies share the text.
class JsonMembers {
 public:
    /// `object` is a text as `readJsonObject()` returns it.
    explicit JsonMembers(std::string object);

    const SharedText& text() const { return text_; }
    std::size_t size() const { return places_->size(); }
    JsonMember operator[](std::size_t index) const;
    /// The value of a key; nothing if the object does not have the key.
    std::optional<std::string_view> find(std::string_view key) const;
    /// The same for a key with its quotes, as `quoted()` returns it.
    std::optional<std::string_view> findQuoted(std::string_view key) const;

 private:
    /// Where a member is in the text. Between key and value is a colon.
    struct Place {
        std::uint32_t key;
        std::uint32_t value;
        std::uint32_t end;
    };

    std::string_view keyAt(const Place& place) const;

    SharedText text_;
    std::shared_ptr<const std::vector<Place>> places_;
};

}  // namespace zebbussim
