#include "ControlInterface.h"

#include <exception>

#include "BusState.h"
#include "bus/Bus.h"
#include "embedded/EmbeddedFiles.h"
#include "json/Json.h"
#include "model/BusError.h"
#include "steps/Step.h"

namespace zebbussim {

namespace {

const char* contentTypeOf(std::string_view fileName) {
    const std::string_view ending = fileName.substr(fileName.rfind('.') + 1);
    if (ending == "html") {
        return "text/html; charset=utf-8";
    }
    if (ending == "css") {
        return "text/css; charset=utf-8";
    }
    return ending == "svg" ? "image/svg+xml" : "text/javascript; charset=utf-8";
}

/// A file of the panel, which may load nothing from elsewhere and may not be shown inside other pages.
HttpAnswer fileAnswer(std::string_view name, std::string content) {
    HttpAnswer answer{200, std::move(content)};
    answer.contentType = contentTypeOf(name);
    answer.headers = {
        {"Cache-Control", "no-store"},
        {"Content-Security-Policy", "default-src 'self'; frame-ancestors 'none'; base-uri 'none'"},
        {"Referrer-Policy", "no-referrer"},
        {"X-Content-Type-Options", "nosniff"}};
    return answer;
}

std::string withBase(std::string_view page, const std::string& basePath) {
    constexpr std::string_view kPlaceholder = "{{base}}";
    std::string text;
    for (std::size_t found = page.find(kPlaceholder); found != std::string_view::npos;
         found = page.find(kPlaceholder)) {
        text.append(page.substr(0, found)).append(basePath);
        page.remove_prefix(found + kPlaceholder.size());
    }
    return text.append(page);
}

}  // namespace

HttpAnswer ControlInterface::answer(const std::string& method, const RequestTarget& target,
                                    const std::string& body) {
    try {
        const bool isStep = target.segments.size() == 2 && method == "POST";
        if (isStep) {
            return perform(target.segments[1], body);
        }
        if (method != "GET" && method != "HEAD") {
            HttpAnswer refusal = errorAnswer({405, "method_not_allowed", method + " is not allowed here"});
            refusal.allow = target.segments.size() == 2 ? "GET, HEAD, POST" : "GET, HEAD";
            return refusal;
        }
        return get(target);
    } catch (const BusError& error) {
        return errorAnswer(error);
    } catch (const std::exception& exception) {
        return errorAnswer({500, "internal_error", exception.what()});
    }
}

HttpAnswer ControlInterface::get(const RequestTarget& target) const {
    const auto& segments = target.segments;
    if (segments.empty()) {
        return page();
    }
    if (segments.size() == 3 && segments[1] == "panel") {
        if (const auto file = embeddedFile("panel/" + segments[2])) {
            return fileAnswer(segments[2], std::string(*file));
        }
    }
    if (segments.size() == 2 && segments[1] == "state") {
        HttpAnswer answer{200, stateOf(bus_)};
        answer.headers = {{"Cache-Control", "no-store"}};
        return answer;
    }
    if (segments.size() == 2 && segments[1] == "scenario") {
        return {200, bus_.recorded().text()};
    }
    if (segments.size() == 2 && segments[1] == "events") {
        HttpAnswer answer{200, ""};
        answer.isLive = true;
        return answer;
    }
    throw BusError::invalidPath("There is nothing at this path; POST " + bus_.context().basePath + kName +
                                "/<step> does a step, GET " + bus_.context().basePath + kName +
                                "/state returns the state of the bus");
}

HttpAnswer ControlInterface::page() const {
    const auto file = embeddedFile("panel/index.html");
    return fileAnswer("index.html", withBase(file.value_or(""), bus_.context().basePath));
}

HttpAnswer ControlInterface::perform(const std::string& kind, const std::string& body) {
    const Step step(kind, readJsonObject(body.empty() ? "{}" : body, "The body"));
    bus_.perform(step, "control");
    return {200, "{" + timestampTail().substr(1)};
}

}  // namespace zebbussim
