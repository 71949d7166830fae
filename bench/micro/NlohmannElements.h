#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

/// The resources as a developer would write them for nlohmann's library: plain structures, with one line each
/// for the conversion from and to JSON. A field may be absent, as in the data objects. The keys and literals
/// are in the service models only: generate_nlohmann_elements.py writes the structures of each service from
/// its model when the benchmark is built. This file has what all of them use.

// Optional values, as the manual of that library shows them.
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
