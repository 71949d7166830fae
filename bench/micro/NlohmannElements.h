#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

/// The resources as a developer would write them down for nlohmann's library: plain structures, one line each
/// for the way from and to JSON. A field may be absent, as in the data objects. Keys and literals stand in
/// the models of the services alone: generate_nlohmann_elements.py makes the structures of each service from
/// its model when the benchmark is built, and here is what all of them use.

// The optional values of that library's own manual.
namespace nlohmann {
template <typename T>
struct adl_serializer<std::optional<T>> {
    static void to_json(json& tree, const std::optional<T>& value) {
        if (value) {
            tree = *value;
        } else {
            tree = nullptr;
        }
    }
    static void from_json(const json& tree, std::optional<T>& value) {
        if (tree.is_null()) {
            value.reset();
        } else {
            value = tree.get<T>();
        }
    }
};
}  // namespace nlohmann

namespace micro::nlohmann_elements {

struct Reference {
    std::optional<std::string> id, name, uri;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Reference, id, name, uri)

}  // namespace micro::nlohmann_elements
