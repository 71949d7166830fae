#pragma once

#include <string_view>
#include <vector>

namespace zebbussim {

/// `Strings`, `Enumerations` and `References` are lists.
enum class FieldKind { Bool, Integer, String, Enumeration, Strings, Enumerations, Reference, References };

/// As people and the control interface read it: "bool", "integer", "string", "enumeration", "strings",
/// "enumerations", "reference" or "references".
std::string_view kindText(FieldKind kind);

struct FieldModel {
    std::string_view key;
    FieldKind kind;
    std::vector<std::string_view> literals;  ///< of an enumeration, or of a list of them
};

struct ResourceModel {
    std::string_view name;
    std::vector<FieldModel> fields;  ///< without "id", "name" and "uri", which every element has

    /// Null if there is no such field.
    const FieldModel* find(std::string_view key) const;
};

struct ServiceModel {
    std::string_view name;
    std::vector<ResourceModel> resources;

    /// Null if there is no such resource.
    const ResourceModel* find(std::string_view resource) const;
};

/// The services whose models are in codegen/services. A bus may have others, too.
const std::vector<ServiceModel>& serviceModels();

/// Both return null for what no model has.
const ServiceModel* findServiceModel(std::string_view service);
const ResourceModel* findResourceModel(std::string_view service, std::string_view resource);

}  // namespace zebbussim
