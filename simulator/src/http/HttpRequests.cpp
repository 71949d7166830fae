#include "HttpRequests.h"

#include "json/Json.h"
#include "model/ModelCheck.h"
#include "model/Query.h"

namespace zebbussim {

namespace {

/// What clients may make of an element, which would grow without end otherwise.
constexpr std::size_t kMaximumElement = 1024 * 1024;

HttpAnswer methodNotAllowed(const std::string& method, const std::string& allow) {
    HttpAnswer answer =
        errorAnswer({405, "method_not_allowed", method + " is not allowed here, only " + allow});
    answer.allow = allow;
    return answer;
}

HttpAnswer dataAnswer(const std::string& data) {
    return {200, "{\"data\":" + data + timestampTail()};
}

HttpAnswer answerForService(BusModel& model, const std::string& name, const std::string& method) {
    model.reachableService(name);
    if (method != "GET") {
        return methodNotAllowed(method, "GET");
    }
    return errorAnswer({426, "upgrade_required", "This is the WebSocket of the service " + excerpt(name)});
}

HttpAnswer answerForCollection(BusModel& model, const BusPath& path, const std::string& method,
                               const RequestTarget& target) {
    const Resource& resource = model.collection(path);
    if (method != "GET") {
        return methodNotAllowed(method, "GET");
    }
    return dataAnswer(Query::forCollection(target.terms).select(resource, model));
}

HttpAnswer answerForElement(BusModel& model, const BusPath& path, const std::string& method,
                            const RequestTarget& target, const std::string& body) {
    const Element& element = model.element(path);
    const bool readOnly = model.service(path.service).readOnly;
    if (method == "GET") {
        return dataAnswer(Query::forElement(target.terms).render(element, model));
    }
    if (method == "POST" && !readOnly) {
        if (!target.terms.empty()) {
            throw BusError::filterInvalid("A POST takes no query");
        }
        const std::string changes = readJsonObject(body, "The body");
        if (model.isStrict()) {
            requireModelled(path, changes);
        }
        const Element changed = model.merged(path, changes);
        if (changed.text()->size() > kMaximumElement) {
            throw BusError(413, "payload_too_large", "The element would be larger than 1 MiB");
        }
        model.replace(path, changed);
        return {200, "{" + timestampTail().substr(1)};
    }
    return methodNotAllowed(method, readOnly ? "GET" : "GET, POST");
}

}  // namespace

HttpAnswer errorAnswer(const BusError& error) {
    return {error.number, "{" + errorMember(error) + timestampTail(), "", error.what()};
}

HttpAnswer answerHttpRequest(BusModel& model, const std::string& method, const RequestTarget& target,
                             const std::string& body) {
    try {
        const std::vector<std::string>& segments = target.segments;
        if (segments.empty() || segments.size() > 3) {
            throw BusError::invalidPath(
                "The path is neither <service>/<resource> nor <service>/<resource>/<id>");
        }
        if (segments.size() == 1) {
            return answerForService(model, segments[0], method);
        }
        model.reachableService(segments[0]);
        if (segments.size() == 2) {
            return answerForCollection(model, {segments[0], segments[1], ""}, method, target);
        }
        return answerForElement(model, {segments[0], segments[1], segments[2]}, method, target, body);
    } catch (const BusError& error) {
        return errorAnswer(error);
    } catch (const std::exception& exception) {
        return errorAnswer({500, "internal_error", exception.what()});
    }
}

}  // namespace zebbussim
