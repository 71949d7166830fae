#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "BusPath.h"
#include "json/JsonMembers.h"

namespace zebbussim {

struct Element {
    std::string id;
    JsonMembers members;  ///< "id", "name" and "uri" come first in its text

    const SharedText& text() const { return members.text(); }
};

/// The elements of a resource, in the order in which they were added.
class Resource {
 public:
    using Elements = std::map<std::uint64_t, Element>;

    const Elements& elements() const { return elements_; }
    Element* find(const std::string& id);
    void add(Element element);
    void replace(Element& element, const Element& state);
    void remove(const std::string& id);
    /// The size of `text()`.
    std::size_t textSize() const { return elements_.size() + 1 + (elements_.empty() ? 1 : 0) + bytes_; }
    /// The JSON text of the collection: a list of all elements. Made once per change.
    const SharedText& text();

 private:
    Elements elements_;
    std::unordered_map<std::string, std::uint64_t> numbers_;  ///< by id
    std::uint64_t lastNumber_ = 0;
    std::size_t bytes_ = 0;  ///< of the texts of the elements
    SharedText text_;        ///< null after a change
};

struct Service {
    std::map<std::string, Resource> resources;
    bool present = true;
    bool available = true;
    bool readOnly = false;  ///< over the wire
};

/// Receives the changes of the model, each after it was made, on the thread that made it.
class BusListener {
 public:
    virtual ~BusListener() = default;
    /// An element has a new state, and so has its collection.
    virtual void elementChanged(const BusPath& path, const Element& element) = 0;
    virtual void elementAdded(const BusPath& path) = 0;
    virtual void elementRemoved(const BusPath& path) = 0;
    /// A service was added, replaced, removed or brought back.
    virtual void servicesChanged() = 0;
    /// A service was added or replaced, or it is now present or not, available or not.
    virtual void serviceChanged(const std::string& service) = 0;
    /// A service can no longer be reached, or is about to be replaced.
    virtual void serviceClosed(const std::string& service) = 0;
};

/// The content of the bus: services, their resources and the elements of those. Not thread-safe.
class BusModel {
 public:
    void setListener(BusListener* busListener) { listener_ = busListener; }

    /// Whether data from outside must be what the models of the services allow. Those who take it ask.
    void setStrict(bool strict) { isStrict_ = strict; }
    bool isStrict() const { return isStrict_; }

    // JSON comes as text that `readJsonObject()` has returned.

    /// `json`: `{"<resource>":[element,...],...}`. Replaces a service of that name.
    void addService(const std::string& name, std::string_view json, bool readOnly = false);
    void setServicePresent(const std::string& name, bool present);
    void setServiceAvailable(const std::string& name, bool available);

    void addElement(const BusPath& path, std::string_view json);
    void removeElement(const BusPath& path);
    /// Merges `changes` into the element.
    void set(const BusPath& path, std::string_view changes);
    /// Replaces the element by a state that `merged()` returned.
    void replace(const BusPath& path, const Element& state);
    /// Returns the element with `changes` merged into it. Does not change the model.
    Element merged(const BusPath& path, std::string_view changes);

    /// These three throw `BusError` 404 for what does not exist. They also find unavailable services.
    Service& service(const std::string& name);
    Resource& collection(const BusPath& path);
    Element& element(const BusPath& path);
    /// Returns null if the element does not exist or its service was removed, and for a text that is not the
    /// path of an element.
    Element* findElement(const BusPath& path);
    Element* findElement(const std::string& path);
    /// Throws `BusError` 404 if the service does not exist, 503 if it is unavailable.
    Service& reachableService(const std::string& name);

    /// The names of the present services, in the order in which they were added.
    std::vector<std::string> presentServices() const;
    /// The names of all services, also of those that were removed.
    const std::vector<std::string>& allServices() const { return order_; }
    /// A service, also one that was removed. Throws `BusError` 404 if there was none.
    Service& known(const std::string& name);

 private:
    std::map<std::string, Service> services_;
    std::vector<std::string> order_;
    BusListener* listener_ = nullptr;
    bool isStrict_ = false;
};

}  // namespace zebbussim
