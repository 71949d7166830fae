#include "BusFile.h"

#include <internal/JsonHint.h>
#include <internal/JsonPlaces.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <optional>
#include <unordered_set>

#include "json/Json.h"
#include "model/BusError.h"
#include "model/BusPath.h"
#include "model/ModelCheck.h"
#include "model/ProblemText.h"
#include "model/Registry.h"

namespace zebbussim {

namespace {

using internal::JsonPlace;
using internal::JsonPlaces;
using internal::Words;
using Kind = JsonPlace::Kind;

constexpr const char* kServices = "services";
/// Names the schema, for editors.
constexpr const char* kSchema = "$schema";

template <typename Model>
Words namesOf(const std::vector<Model>& models) {
    Words names;
    for (const Model& model : models) {
        names.push_back(model.name);
    }
    return names;
}

class BusFileCheck {
 public:
    BusFileCheck(std::string_view text, Strictness strictness)
        : text_(text), places_(text), strictness_(strictness), models_(text, errors_) {}

    void checkRoot();
    void checkService(const std::string& name, const JsonPlace& service);
    JsonPlace root() const { return places_.root(); }
    void addError(std::size_t byte, const std::string& message) {
        errors_.add(byte, [&] { return message; });
    }

    /// Throws the errors; returns the warnings.
    std::vector<std::string> finish(const std::string& what, const std::string& source) const;

 private:
    /// Calls `visit` with each key, its text and its value.
    template <typename Visit>
    void forEachMember(const JsonPlace& object, const std::string& kind, Visit visit);
    void checkServices(const JsonPlace& services);
    void checkServiceName(const JsonPlace& key, const std::string& name);
    void checkResourceName(const JsonPlace& key, const std::string& service, const std::string& name);
    void checkResource(const std::string& service, const std::string& name, const JsonPlace& resource);
    void checkElement(const BusPath& collection, const JsonPlace& element, const ResourceModel* model,
                      std::unordered_set<std::string>& ids);
    void checkId(const BusPath& collection, const JsonPlace& id, std::unordered_set<std::string>& ids);
    void warnOfName(const JsonPlace& key, const std::string& name, const Words& names);
    bool isStrict() const { return strictness_ == Strictness::Strict; }

    const std::string_view text_;
    const JsonPlaces places_;
    const Strictness strictness_;
    DataProblems errors_;
    DataProblems warnings_;
    ModelCheck models_;
};

template <typename Visit>
void BusFileCheck::forEachMember(const JsonPlace& object, const std::string& kind, Visit visit) {
    std::unordered_set<std::string> names;
    places_.forEachMember(object, [&](const JsonPlace& key, const JsonPlace& value) {
        const std::string name = contentOf(places_.text(key));
        if (isStrict() && !names.insert(name).second) {
            errors_.add(key.begin, [&] { return "The " + kind + " " + inQuotes(name) + " is repeated."; });
        }
        visit(key, name, value);
    });
}

void BusFileCheck::checkRoot() {
    std::optional<JsonPlace> services;
    forEachMember(root(), "key", [&](const JsonPlace& key, const std::string& name, const JsonPlace& value) {
        if (name == kServices) {
            services = value;
        } else if (isStrict() && name != kSchema) {
            errors_.add(key.begin, [&] {
                return "Unknown key " + inQuotes(name) + "." +
                       suggestion(name, {kServices, kSchema}, "The keys here are");
            });
        }
    });
    if (!services) {
        addError(root().begin, "There is no \"services\".");
    } else if (services->kind != Kind::Object) {
        addError(services->begin,
                 "\"services\" must be an object, but is " + foundText(places_, *services) + ".");
    } else {
        checkServices(*services);
    }
}

void BusFileCheck::checkServices(const JsonPlace& services) {
    forEachMember(services, "service",
                  [&](const JsonPlace& key, const std::string& name, const JsonPlace& value) {
                      checkServiceName(key, name);
                      checkService(name, value);
                  });
}

void BusFileCheck::checkServiceName(const JsonPlace& key, const std::string& name) {
    if (!isName(name)) {
        errors_.add(key.begin, [&] { return "A service cannot have the name " + inQuotes(name) + "."; });
    } else if (name == Registry::kService) {
        errors_.add(key.begin, [&] { return "The service " + inQuotes(name) + " is built in."; });
    } else if (findServiceModel(name) == nullptr) {
        warnOfName(key, name, namesOf(serviceModels()));
    }
}

void BusFileCheck::checkService(const std::string& name, const JsonPlace& service) {
    if (service.kind != Kind::Object) {
        errors_.add(service.begin, [&] {
            return "The service " + inQuotes(name) + " must be an object of resources, but is " +
                   foundText(places_, service) + ".";
        });
        return;
    }
    forEachMember(service, "resource",
                  [&](const JsonPlace& key, const std::string& resource, const JsonPlace& value) {
                      checkResourceName(key, name, resource);
                      checkResource(name, resource, value);
                  });
}

void BusFileCheck::checkResourceName(const JsonPlace& key, const std::string& service,
                                     const std::string& name) {
    if (!isName(name)) {
        errors_.add(key.begin, [&] { return "A resource cannot have the name " + inQuotes(name) + "."; });
    } else if (const ServiceModel* const model = findServiceModel(service);
               model != nullptr && model->find(name) == nullptr) {
        warnOfName(key, name, namesOf(model->resources));
    }
}

void BusFileCheck::checkResource(const std::string& service, const std::string& name,
                                 const JsonPlace& resource) {
    const BusPath collection{service, name, ""};
    if (resource.kind != Kind::Array) {
        errors_.add(resource.begin, [&] {
            return inQuotes(collection.text()) + " must be a list of elements, but is " +
                   foundText(places_, resource) + ".";
        });
        return;
    }
    const ResourceModel* const model = isStrict() ? findResourceModel(service, name) : nullptr;
    std::unordered_set<std::string> ids;
    places_.forEachElement(resource,
                           [&](const JsonPlace& element) { checkElement(collection, element, model, ids); });
}

void BusFileCheck::checkElement(const BusPath& collection, const JsonPlace& element,
                                const ResourceModel* model, std::unordered_set<std::string>& ids) {
    if (element.kind != Kind::Object) {
        errors_.add(element.begin, [&] {
            return "An element must be an object, but is " + foundText(places_, element) + ".";
        });
        return;
    }
    models_.check(element, collection.text(), model);
    // Of a repeated key, the last value counts.
    std::optional<JsonPlace> id;
    std::optional<JsonPlace> uri;
    places_.forEachMember(element, [&](const JsonPlace& key, const JsonPlace& value) {
        const std::string name = contentOf(places_.text(key));
        if (name == "id") {
            id = value;
        } else if (name == "uri") {
            uri = value;
        }
    });
    if (!id) {
        addError(element.begin, "The element has no \"id\".");
    } else if (id->kind == Kind::String) {
        checkId(collection, *id, ids);
        const std::string path =
            BusPath{collection.service, collection.resource, contentOf(places_.text(*id))}.text();
        if (uri && uri->kind == Kind::String && contentOf(places_.text(*uri)) != path) {
            errors_.add(uri->begin, [&] { return "The \"uri\" of this element is " + inQuotes(path) + "."; });
        }
    }
}

void BusFileCheck::checkId(const BusPath& collection, const JsonPlace& id,
                           std::unordered_set<std::string>& ids) {
    const std::string text = contentOf(places_.text(id));
    if (!isName(text)) {
        errors_.add(id.begin, [&] { return "The id " + inQuotes(text) + " cannot be part of a path."; });
    } else if (!ids.insert(text).second) {
        errors_.add(id.begin, [&] {
            return "The id " + inQuotes(text) + " occurs twice in " + inQuotes(collection.text()) + ".";
        });
    }
}

void BusFileCheck::warnOfName(const JsonPlace& key, const std::string& name, const Words& names) {
    if (!isStrict()) {
        return;
    }
    const std::string_view meant = internal::mistypedWord(name, names);
    if (!meant.empty()) {
        warnings_.add(key.begin, [&] {
            return "warning: No model has " + inQuotes(name) +
                   ", so nothing in it is checked. Did you mean " + inQuotes(meant) + "?";
        });
    }
}

std::vector<std::string> BusFileCheck::finish(const std::string& what, const std::string& source) const {
    const std::vector<std::string> warnings = warnings_.lines(source, text_);
    if (errors_.empty()) {
        return warnings;
    }
    std::vector<std::string> lines = errors_.lines(source, text_);
    lines.insert(lines.end(), warnings.begin(), warnings.end());
    if (lines.size() == 1) {
        throw BusError::badRequest(lines[0]);
    }
    std::string message = what + " has mistakes:";
    for (const std::string& line : lines) {
        message.append("\n").append(line);
    }
    throw BusError::badRequest(message);
}

}  // namespace

std::vector<std::string> checkBusText(std::string_view text, const std::string& what,
                                      const std::string& source, Strictness strictness) {
    BusFileCheck check(text, strictness);
    try {
        zebutil::JsonObject::check(text);
        check.checkRoot();
    } catch (const zebutil::JsonException& exception) {
        const std::size_t byte = exception.byte().value_or(0);
        check.addError(byte, "This is not a JSON object: " + std::string(exception.reason()) +
                                 internal::jsonHint(text, byte) + ".");
    }
    return check.finish(what, source);
}

std::vector<std::string> checkServiceText(const std::string& service, std::string_view text,
                                          Strictness strictness) {
    BusFileCheck check(text, strictness);
    check.checkService(service, check.root());
    return check.finish("The service " + inQuotes(service), "service " + service);
}

}  // namespace zebbussim
