#pragma once

#include <Poco/JSON/Object.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BusPath.h"

namespace zebbussim {

/// A text shared by many messages.
using SharedText = std::shared_ptr<const std::string>;

struct Element {
    std::string id;
    Poco::JSON::Object::Ptr json;
    SharedText text;  ///< `json` as text, made once per change
};

/// The elements of a resource, in the order in which they were added.
struct Resource {
    std::vector<Element> elements;

    Element* find(const std::string& id);
    /// The JSON text of the collection: a list of all elements.
    std::string text() const;
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
    /// A service can no longer be reached, or is about to be replaced.
    virtual void serviceClosed(const std::string& service) = 0;
};

/// The content of the bus: services, their resources and the elements of those. Not thread-safe.
class BusModel {
 public:
    void setListener(BusListener* busListener) { listener_ = busListener; }

    /// `json`: `{"<resource>":[element,...],...}`. Replaces a service of that name.
    void addService(const std::string& name, const Poco::JSON::Object& json, bool readOnly = false);
    void setServicePresent(const std::string& name, bool present);
    void setServiceAvailable(const std::string& name, bool available);

    void addElement(const BusPath& path, const Poco::JSON::Object& json);
    void removeElement(const BusPath& path);
    /// Merges `changes` into the element.
    void set(const BusPath& path, const Poco::JSON::Object& changes);
    /// Replaces the element by a state that `merged()` returned.
    void replace(const BusPath& path, const Element& state);
    /// Returns the element with `changes` merged into it. Does not change the model.
    Element merged(const BusPath& path, const Poco::JSON::Object& changes);

    /// These three throw `BusError` 404 for what does not exist. They also find unavailable services.
    Service& service(const std::string& name);
    Resource& collection(const BusPath& path);
    Element& element(const BusPath& path);
    /// Returns null if the element does not exist or its service was removed.
    Element* findElement(const BusPath& path);
    /// Throws `BusError` 404 if the service does not exist, 503 if it is unavailable.
    Service& reachableService(const std::string& name);

    /// The names of the present services, in the order in which they were added.
    std::vector<std::string> presentServices() const;

 private:
    Service& known(const std::string& name);

    std::map<std::string, Service> services_;
    std::vector<std::string> order_;
    BusListener* listener_ = nullptr;
};

}  // namespace zebbussim
