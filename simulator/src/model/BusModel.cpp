#include "BusModel.h"

#include <internal/SimilarWord.h>

#include <algorithm>
#include <iterator>

#include "BusError.h"
#include "json/Json.h"

namespace zebbussim {

namespace {

constexpr const char* kFirstKeys[] = {"\"id\"", "\"name\"", "\"uri\""};

std::string stringMember(const std::string& key, std::string_view value) {
    const std::optional<std::string> text = stringOf(value);
    if (!text) {
        throw BusError::badRequest("\"" + key + "\" must be a string, but is " + shortened(value));
    }
    return *text;
}

/// Throws if `members` has the member, which must not change, with a different value.
void requireFixed(const JsonMembers& members, const std::string& key, const std::string& expected) {
    const std::optional<std::string_view> value = members.find(key);
    if (value && stringMember(key, *value) != expected) {
        throw BusError::badRequest("\"" + key + "\" of " + excerpt(expected) + " cannot be changed to " +
                                   shortened(*value));
    }
}

/// Writes the text of an element.
class ElementText {
 public:
    explicit ElementText(std::size_t size) { text_.reserve(size + 1); }

    void add(std::string_view key, std::string_view value) {
        text_.append(text_.empty() ? "{" : ",").append(key).append(":").append(value);
    }
    /// Adds a member unless it is one of those that come first.
    void addLater(const JsonMember& member) {
        if (std::find(std::begin(kFirstKeys), std::end(kFirstKeys), member.key) == std::end(kFirstKeys)) {
            add(member.key, member.value);
        }
    }
    JsonMembers members() && {
        text_ += "}";
        return JsonMembers(std::move(text_));
    }

 private:
    std::string text_;
};

Element makeElement(const BusPath& path, const JsonMembers& json) {
    if (!isName(path.id)) {
        throw BusError::badRequest("An element of " + path.collectionText() +
                                   " has an \"id\" that cannot be part of a path");
    }
    requireFixed(json, "id", path.id);
    requireFixed(json, "uri", path.text());
    const std::optional<std::string_view> name = json.find("name");
    if (name) {
        stringMember("name", *name);
    }
    const std::string id = quoted(path.id);
    const std::string uri = quoted(path.text());
    ElementText text(json.text()->size() + 2 * id.size() + uri.size() + 32);
    text.add(kFirstKeys[0], id);
    text.add(kFirstKeys[1], name ? *name : id);
    text.add(kFirstKeys[2], uri);
    for (std::size_t index = 0; index < json.size(); ++index) {
        text.addLater(json[index]);
    }
    return {path.id, std::move(text).members()};
}

std::string idOf(const JsonMembers& json, const std::string& collection) {
    const std::optional<std::string_view> id = json.find("id");
    if (!id) {
        throw BusError::badRequest("An element of " + collection + " has no \"id\"");
    }
    return stringMember("id", *id);
}

}  // namespace

Element* Resource::find(const std::string& id) {
    const auto found = numbers_.find(id);
    return found == numbers_.end() ? nullptr : &elements_.at(found->second);
}

void Resource::add(Element element) {
    text_.reset();
    bytes_ += element.text()->size();
    numbers_.emplace(element.id, ++lastNumber_);
    elements_.emplace(lastNumber_, std::move(element));
}

void Resource::replace(Element& element, const Element& state) {
    text_.reset();
    bytes_ += state.text()->size();
    bytes_ -= element.text()->size();
    element = state;
}

void Resource::remove(const std::string& id) {
    text_.reset();
    const auto found = numbers_.find(id);
    bytes_ -= elements_.at(found->second).text()->size();
    elements_.erase(found->second);
    numbers_.erase(found);
}

const SharedText& Resource::text() {
    if (!text_) {
        std::string list;
        list.reserve(textSize());
        for (const auto& numbered : elements_) {
            list.append(list.empty() ? "[" : ",").append(*numbered.second.text());
        }
        list += list.empty() ? "[]" : "]";
        text_ = std::make_shared<const std::string>(std::move(list));
    }
    return text_;
}

void BusModel::addService(const std::string& name, std::string_view json, bool readOnly) {
    if (!isName(name)) {
        throw BusError::badRequest("The service name " + excerpt(name) + " cannot be part of a path");
    }
    Service added;
    added.readOnly = readOnly;
    for (const auto& [key, list] : membersOf(json)) {
        const std::string resourceName = stringOf(key).value();
        const std::string collectionText = BusPath{name, resourceName, ""}.text();
        if (!isName(resourceName) || !isList(list)) {
            throw BusError::badRequest(excerpt(collectionText) + " must be a list of elements");
        }
        Resource& resource = added.resources[resourceName];
        for (const std::string_view item : entriesOf(list)) {
            if (!isObject(item)) {
                throw BusError::badRequest("Entry " + std::to_string(resource.elements().size()) + " of " +
                                           collectionText + " is not an object");
            }
            const JsonMembers members{std::string(item)};
            const BusPath path{name, resourceName, idOf(members, collectionText)};
            if (resource.find(path.id) != nullptr) {
                throw BusError::badRequest("The id " + excerpt(path.id) + " occurs twice in " +
                                           collectionText);
            }
            resource.add(makeElement(path, members));
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
        listener_->serviceChanged(name);
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
        listener_->serviceChanged(name);
    }
}

void BusModel::setServiceAvailable(const std::string& name, bool available) {
    Service& changed = known(name);
    if (changed.available == available) {
        return;
    }
    if (!available && listener_ != nullptr) {
        listener_->serviceClosed(name);
    }
    changed.available = available;
    if (listener_ != nullptr) {
        listener_->serviceChanged(name);
    }
}

void BusModel::addElement(const BusPath& path, std::string_view json) {
    const Element element = makeElement(path, JsonMembers(std::string(json)));
    Resource& resource = service(path.service).resources[path.resource];
    if (resource.find(path.id) != nullptr) {
        throw BusError::badRequest("There is already an element at " + path.text());
    }
    resource.add(element);
    if (listener_ != nullptr) {
        listener_->elementAdded(path);
    }
}

void BusModel::removeElement(const BusPath& path) {
    element(path);
    collection(path).remove(path.id);
    if (listener_ != nullptr) {
        listener_->elementRemoved(path);
    }
}

void BusModel::set(const BusPath& path, std::string_view changes) {
    replace(path, merged(path, changes));
}

void BusModel::replace(const BusPath& path, const Element& state) {
    collection(path).replace(element(path), state);
    if (listener_ != nullptr) {
        listener_->elementChanged(path, state);
    }
}

Element BusModel::merged(const BusPath& path, std::string_view changes) {
    const Element& present = element(path);
    const JsonMembers changed{std::string(changes)};
    requireFixed(changed, "id", path.id);
    requireFixed(changed, "uri", path.text());
    const std::optional<std::string_view> name = changed.find("name");
    if (name) {
        stringMember("name", *name);
    }
    if (changed.size() == 0) {
        return present;
    }
    ElementText text(present.text()->size() + changes.size());
    text.add(kFirstKeys[0], *present.members.find("id"));
    text.add(kFirstKeys[1], name ? *name : *present.members.find("name"));
    text.add(kFirstKeys[2], *present.members.find("uri"));
    std::size_t old = 0;
    for (std::size_t index = 0; index < changed.size(); ++index) {
        const JsonMember member = changed[index];
        for (; old < present.members.size() && present.members[old].key < member.key; ++old) {
            text.addLater(present.members[old]);
        }
        old += old < present.members.size() && present.members[old].key == member.key ? 1 : 0;
        text.addLater(member);
    }
    for (; old < present.members.size(); ++old) {
        text.addLater(present.members[old]);
    }
    JsonMembers members = std::move(text).members();
    return *members.text() == *present.text() ? present : Element{path.id, std::move(members)};
}

Service& BusModel::known(const std::string& name) {
    const auto found = services_.find(name);
    if (found == services_.end()) {
        const internal::Words names(order_.begin(), order_.end());
        const std::string_view similar = internal::similarWord(name, names);
        throw BusError::invalidPath(
            "There is no service " + excerpt(name) +
            (similar.empty() ? "" : "; did you mean \"" + std::string(similar) + "\"?"));
    }
    return found->second;
}

Service& BusModel::service(const std::string& name) {
    Service& found = known(name);
    if (!found.present) {
        throw BusError::invalidPath("There is no service " + excerpt(name));
    }
    return found;
}

Service& BusModel::reachableService(const std::string& name) {
    Service& found = service(name);
    if (!found.available) {
        throw BusError::unavailable("The service " + excerpt(name) + " is not available");
    }
    return found;
}

Resource& BusModel::collection(const BusPath& path) {
    std::map<std::string, Resource>& resources = service(path.service).resources;
    const auto found = resources.find(path.resource);
    if (found == resources.end()) {
        throw BusError::invalidPath("The service " + excerpt(path.service) + " has no resource " +
                                    excerpt(path.resource));
    }
    return found->second;
}

Element& BusModel::element(const BusPath& path) {
    Element* const found = collection(path).find(path.id);
    if (found == nullptr) {
        throw BusError::unavailableData("There is no element " + excerpt(path.id) + " in " +
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

Element* BusModel::findElement(const std::string& path) {
    if (path.empty() || path.front() != '/' || std::count(path.begin(), path.end(), '/') > 4) {
        return nullptr;
    }
    const std::vector<std::string> segments = splitPath(path);
    return segments.size() == 3 ? findElement(BusPath{segments[0], segments[1], segments[2]}) : nullptr;
}

std::vector<std::string> BusModel::presentServices() const {
    std::vector<std::string> names;
    std::copy_if(order_.begin(), order_.end(), std::back_inserter(names),
                 [&](const std::string& name) { return services_.at(name).present; });
    return names;
}

}  // namespace zebbussim
