#include "ServiceModels.h"

#include <algorithm>

namespace zebbussim {

namespace {

template <typename Item, typename Member>
const Item* findIn(const std::vector<Item>& items, Member member, std::string_view wanted) {
    const auto found =
        std::find_if(items.begin(), items.end(), [&](const Item& item) { return item.*member == wanted; });
    return found == items.end() ? nullptr : &*found;
}

}  // namespace

std::string_view kindText(FieldKind kind) {
    switch (kind) {
        case FieldKind::Bool:
            return "bool";
        case FieldKind::Integer:
            return "integer";
        case FieldKind::String:
            return "string";
        case FieldKind::Enumeration:
            return "enumeration";
        case FieldKind::Strings:
            return "strings";
        case FieldKind::Enumerations:
            return "enumerations";
        case FieldKind::Reference:
            return "reference";
        case FieldKind::References:
            return "references";
    }
    return "";
}

const FieldModel* ResourceModel::find(std::string_view key) const {
    return findIn(fields, &FieldModel::key, key);
}

const ResourceModel* ServiceModel::find(std::string_view resource) const {
    return findIn(resources, &ResourceModel::name, resource);
}

const ServiceModel* findServiceModel(std::string_view service) {
    return findIn(serviceModels(), &ServiceModel::name, service);
}

const ResourceModel* findResourceModel(std::string_view service, std::string_view resource) {
    const ServiceModel* const model = findServiceModel(service);
    return model == nullptr ? nullptr : model->find(resource);
}

}  // namespace zebbussim
