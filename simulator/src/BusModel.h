#pragma once

#include <Poco/JSON/Object.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BusPath.h"

namespace zebbussim {

/// Text that many messages share.
using SharedText = std::shared_ptr<const std::string>;

struct Element {
    std::string id;
    Poco::JSON::Object::Ptr json;
    SharedText text;  ///< `json` as text, made once per change
};

/// The elements of a resource, in the order in which they came.
struct Resource {
    std::vector<Element> elements;

    Element* find(const std::string& id);
    /// The text of the collection: a list of all elements.
    std::string text() const;
};

struct Service {
    std::map<std::string, Resource> resources;
    bool present = true;
    bool available = true;
    bool readOnly = false;  ///< over the wire
};

/// Is told what has changed in the model, after the change.
class BusListener {
 public:
    virtual ~BusListener() = default;
    /// An element has a new state; so has its collection.
    virtual void elementChanged(const BusPath& path, const Element& element) = 0;
    /// An element came to be or is gone.
    virtual void elementAdded(const BusPath& path) = 0;
    virtual void elementRemoved(const BusPath& path) = 0;
    /// A service came, went, or is available again or no more.
    virtual void servicesChanged() = 0;
    /// A service cannot be reached any more.
    virtual void serviceClosed(const std::string& service) = 0;
};

/// What is on the bus: services, their resources, their elements. Used on one thread at a time.
class BusModel {
 public:
    void setListener(BusListener* busListener) { listener_ = busListener; }

    /// `json`: `{"<resource>":[element,...],...}`. Replaces a service of that name.
    void addService(const std::string& name, const Poco::JSON::Object& json, bool readOnly = false);
    void setServicePresent(const std::string& name, bool present);
    void setServiceAvailable(const std::string& name, bool available);

    void addElement(const BusPath& path, const Poco::JSON::Object& json);
    void removeElement(const BusPath& path);
    /// Merges `changes` into the element and tells the listener.
    void set(const BusPath& path, const Poco::JSON::Object& changes);
    /// Gives the element a state that was made with `merged()`.
    void replace(const BusPath& path, const Element& state);
    /// The element with `changes` merged into it; the model stays as it is.
    Element merged(const BusPath& path, const Poco::JSON::Object& changes);

    /// All of these throw `BusError` 404 for what is not there. Services that are not available are found.
    Service& service(const std::string& name);
    Resource& collection(const BusPath& path);
    Element& element(const BusPath& path);
    /// Null when it is not there, or its service is not reachable.
    Element* findElement(const BusPath& path);
    /// Throws `BusError` 404 or 503 unless requests to the service can be served.
    Service& reachableService(const std::string& name);

    /// Names of the services that are present, in the order in which they came.
    std::vector<std::string> presentServices() const;

 private:
    Service& known(const std::string& name);

    std::map<std::string, Service> services_;
    std::vector<std::string> order_;
    BusListener* listener_ = nullptr;
};

}  // namespace zebbussim
