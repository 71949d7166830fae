#include "Registry.h"

#include <algorithm>
#include <vector>

#include "BusError.h"
#include "json/Json.h"

namespace zebbussim {

Registry::Registry(BusModel& busModel) : model_(busModel) {
    model_.addService(kService, "{" + quoted(kResource) + ":[]}", true);
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
    for (const auto& numbered : model_.collection({kService, kResource, ""}).elements()) {
        listed.push_back(numbered.second.id);
    }
    for (const std::string& name : listed) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            model_.removeElement({kService, kResource, name});
        }
    }
    for (const std::string& name : names) {
        const BusPath path{kService, kResource, name};
        const std::string entry = "{\"serverBasePath\":" + quoted(serverBasePath_) +
                                  ",\"serverBaseUri\":" + quoted(serverBaseUri_) + "}";
        Element* const present = model_.findElement(path);
        if (present == nullptr) {
            model_.addElement(path, entry);
        } else if (const Element changed = model_.merged(path, entry); *changed.text() != *present->text()) {
            model_.replace(path, changed);
        }
    }
}

}  // namespace zebbussim
