#include "BusModel.h"

#include <Poco/JSON/Array.h>

#include <algorithm>

#include "BusError.h"
#include "Json.h"

namespace zebbussim {

namespace {

std::string stringMember(const Poco::JSON::Object& json, const std::string& key) {
    const Poco::Dynamic::Var value = json.get(key);
    if (value.type() != typeid(std::string)) {
        throw BusError::badRequest("\"" + key + "\" must be a string, but is " + toText(value));
    }
    return value.extract<std::string>();
}

/// Throws if `json` contains the member, which must not change, with a different value.
void requireFixed(const Poco::JSON::Object& json, const std::string& key, const std::string& value) {
    if (json.has(key) && stringMember(json, key) != value) {
        throw BusError::badRequest("\"" + key + "\" of " + quoted(value) + " cannot be changed to " +
                                   toText(json.get(key)));
    }
}

Element makeElement(const BusPath& path, const Poco::JSON::Object& json) {
    if (!isName(path.id)) {
        throw BusError::badRequest("An element of " + path.collectionText() +
                                   " has an \"id\" that cannot be part of a path");
    }
    requireFixed(json, "id", path.id);
    requireFixed(json, "uri", path.text());
    Poco::JSON::Object::Ptr members = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    members->set("id", path.id);
    members->set("name", json.has("name") ? stringMember(json, "name") : path.id);
    members->set("uri", path.text());
    for (const std::string& key : json.getNames()) {
        if (!members->has(key)) {
            members->set(key, json.get(key));
        }
    }
    return {path.id, members, std::make_shared<const std::string>(toText(*members))};
}

std::string idOf(const Poco::JSON::Object& json, const std::string& collection) {
    if (!json.has("id")) {
        throw BusError::badRequest("An element of " + collection + " has no \"id\"");
    }
    return stringMember(json, "id");
}

}  // namespace

Element* Resource::find(const std::string& id) {
    const auto found = std::find_if(elements.begin(), elements.end(),
                                    [&](const Element& candidate) { return candidate.id == id; });
    return found == elements.end() ? nullptr : &*found;
}

std::string Resource::text() const {
    std::string list = "[";
    for (const Element& each : elements) {
        list += list.size() > 1 ? "," : "";
        list += *each.text;
    }
    return list + "]";
}

void BusModel::addService(const std::string& name, const Poco::JSON::Object& json, bool readOnly) {
    if (!isName(name)) {
        throw BusError::badRequest("The service name " + quoted(name) + " cannot be part of a path");
    }
    Service added;
    added.readOnly = readOnly;
    for (const std::string& resourceName : json.getNames()) {
        const std::string collectionText = BusPath{name, resourceName, ""}.text();
        if (!isName(resourceName) || !json.isArray(resourceName)) {
            throw BusError::badRequest(collectionText + " must be a list of elements");
        }
        Resource& resource = added.resources[resourceName];
        const Poco::JSON::Array::Ptr list = json.getArray(resourceName);
        for (unsigned int index = 0; index < list->size(); ++index) {
            const Poco::JSON::Object::Ptr item = list->getObject(index);
            if (item.isNull()) {
                throw BusError::badRequest("Entry " + std::to_string(index) + " of " + collectionText +
                                           " is not an object");
            }
            const BusPath path{name, resourceName, idOf(*item, collectionText)};
            if (resource.find(path.id) != nullptr) {
                throw BusError::badRequest("The id " + quoted(path.id) + " occurs twice in " +
                                           collectionText);
            }
            resource.elements.push_back(makeElement(path, *item));
        }
    }

    if (services_.count(name) == 0) {
        order_.push_back(name);
    } else if (services_[name].present && listener_ != nullptr) {
        listener_->serviceClosed(name);
    }
    services_[name] = std::move(added);
    if (listener_ != nullptr) {
        listener_->servicesChanged();
    }
}

void BusModel::setServicePresent(const std::string& name, bool present) {
    Service& changed = known(name);
    if (changed.present == present) {
        return;
    }
    changed.present = present;
    if (listener_ != nullptr) {
        if (!present) {
            listener_->serviceClosed(name);
        }
        listener_->servicesChanged();
    }
}

void BusModel::setServiceAvailable(const std::string& name, bool available) {
    Service& changed = service(name);
    if (changed.available && !available && listener_ != nullptr) {
        listener_->serviceClosed(name);
    }
    changed.available = available;
}

void BusModel::addElement(const BusPath& path, const Poco::JSON::Object& json) {
    Resource& resource = service(path.service).resources[path.resource];
    if (resource.find(path.id) != nullptr) {
        throw BusError::badRequest("There is already an element at " + path.text());
    }
    resource.elements.push_back(makeElement(path, json));
    if (listener_ != nullptr) {
        listener_->elementAdded(path);
    }
}

void BusModel::removeElement(const BusPath& path) {
    element(path);
    std::vector<Element>& elements = collection(path).elements;
    elements.erase(std::remove_if(elements.begin(), elements.end(),
                                  [&](const Element& candidate) { return candidate.id == path.id; }),
                   elements.end());
    if (listener_ != nullptr) {
        listener_->elementRemoved(path);
    }
}

void BusModel::set(const BusPath& path, const Poco::JSON::Object& changes) {
    replace(path, merged(path, changes));
}

void BusModel::replace(const BusPath& path, const Element& state) {
    Element& changed = element(path);
    changed = state;
    if (listener_ != nullptr) {
        listener_->elementChanged(path, state);
    }
}

Element BusModel::merged(const BusPath& path, const Poco::JSON::Object& changes) {
    const Element& present = element(path);
    requireFixed(changes, "id", path.id);
    requireFixed(changes, "uri", path.text());
    if (changes.has("name")) {
        stringMember(changes, "name");
    }
    Poco::JSON::Object::Ptr members = new Poco::JSON::Object(*present.json);
    for (const std::string& key : changes.getNames()) {
        members->set(key, changes.get(key));
    }
    return {path.id, members, std::make_shared<const std::string>(toText(*members))};
}

Service& BusModel::known(const std::string& name) {
    const auto found = services_.find(name);
    if (found == services_.end()) {
        throw BusError::invalidPath("There is no service " + quoted(name));
    }
    return found->second;
}

Service& BusModel::service(const std::string& name) {
    Service& found = known(name);
    if (!found.present) {
        throw BusError::invalidPath("There is no service " + quoted(name));
    }
    return found;
}

Service& BusModel::reachableService(const std::string& name) {
    Service& found = service(name);
    if (!found.available) {
        throw BusError::unavailable("The service " + quoted(name) + " is not available");
    }
    return found;
}

Resource& BusModel::collection(const BusPath& path) {
    std::map<std::string, Resource>& resources = service(path.service).resources;
    const auto found = resources.find(path.resource);
    if (found == resources.end()) {
        throw BusError::invalidPath("The service " + quoted(path.service) + " has no resource " +
                                    quoted(path.resource));
    }
    return found->second;
}

Element& BusModel::element(const BusPath& path) {
    Element* const found = collection(path).find(path.id);
    if (found == nullptr) {
        throw BusError::unavailableData("There is no element " + quoted(path.id) + " in " +
                                        path.collectionText());
    }
    return *found;
}

Element* BusModel::findElement(const BusPath& path) {
    const auto foundService = services_.find(path.service);
    if (foundService == services_.end() || !foundService->second.present) {
        return nullptr;
    }
    const auto foundResource = foundService->second.resources.find(path.resource);
    return foundResource == foundService->second.resources.end() ? nullptr
                                                                 : foundResource->second.find(path.id);
}

std::vector<std::string> BusModel::presentServices() const {
    std::vector<std::string> names;
    std::copy_if(order_.begin(), order_.end(), std::back_inserter(names),
                 [&](const std::string& name) { return services_.at(name).present; });
    return names;
}

}  // namespace zebbussim
