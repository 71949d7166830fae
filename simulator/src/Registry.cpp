#include "Registry.h"

#include <Poco/JSON/Array.h>

#include <algorithm>
#include <vector>

#include "BusError.h"

namespace zebbussim {

Registry::Registry(BusModel& busModel) : model_(busModel) {
    Poco::JSON::Object resources;
    resources.set(kResource, Poco::JSON::Array::Ptr(new Poco::JSON::Array));
    model_.addService(kService, resources, true);
}

void Registry::refuseOwnName(const std::string& service) {
    if (service == kService) {
        throw BusError::badRequest(std::string("The service ") + kService + " is built in");
    }
}

void Registry::setAddress(const std::string& baseUri, const std::string& basePath) {
    serverBaseUri_ = baseUri;
    serverBasePath_ = basePath;
    update();
}

void Registry::update() {
    std::vector<std::string> names = model_.presentServices();
    names.erase(std::remove(names.begin(), names.end(), kService), names.end());

    std::vector<std::string> listed;
    for (const Element& element : model_.collection({kService, kResource, ""}).elements) {
        listed.push_back(element.id);
    }
    for (const std::string& name : listed) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            model_.removeElement({kService, kResource, name});
        }
    }
    for (const std::string& name : names) {
        const BusPath path{kService, kResource, name};
        Poco::JSON::Object entry;
        entry.set("serverBaseUri", serverBaseUri_);
        entry.set("serverBasePath", serverBasePath_);
        Element* const present = model_.findElement(path);
        if (present == nullptr) {
            model_.addElement(path, entry);
        } else if (const Element changed = model_.merged(path, entry); *changed.text != *present->text) {
            model_.replace(path, changed);
        }
    }
}

}  // namespace zebbussim
