#include <zeb/ITpAccess.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebException.h>
#include <zebutil/ILogger.h>
#include <zebutil/JsonObject.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AccessorRequests.h"
#include "AnswerData.h"
#include "ElementList.h"
#include "log/FaultLog.h"

namespace zeb {

namespace {

constexpr AccessorOperation kFindFirst{"findFirst", "find first failed", "findFirst callbackSuccess",
                                       "findFirst callbackError"};
constexpr AccessorOperation kFindAll{"findAll", "find all failed", "findAll callbackSuccess",
                                     "findAll callbackError"};
constexpr AccessorOperation kFindById{"findById", "find by id failed", "findById callbackSuccess",
                                      "findById callbackError"};
constexpr AccessorOperation kWrite{"write", "write failed", "write callbackSuccess", "write callbackError"};

// What an element must have to be found. The id is a term as well.
ITpAccess::Query termsOf(const XObjectDescriptor& descriptor) {
    ZebFilter terms = descriptor.getFilter();
    if (descriptor.getId()) {
        terms.add("id", descriptor.getId().getValue());
    }
    return {terms.begin(), terms.end()};
}

ITpAccess::Query queryOfAll(const XObjectDescriptor& descriptor) {
    ITpAccess::Query query = termsOf(descriptor);
    query.insert(query.end(), descriptor.getQueryOptions().begin(), descriptor.getQueryOptions().end());
    return query;
}

ITpAccess::Query queryOfFirst(const XObjectDescriptor& descriptor) {
    ITpAccess::Query query = termsOf(descriptor);
    for (const auto& option : descriptor.getQueryOptions()) {
        if (option.first != "$limit") {
            query.push_back(option);
        }
    }
    query.emplace_back("$limit", "1");
    return query;
}

// The address of an element takes no others.
ITpAccess::Query queryOfElement(const XObjectDescriptor& descriptor) {
    ITpAccess::Query query;
    for (const auto& option : descriptor.getQueryOptions()) {
        if (option.first == "$fields" || option.first == "$expand") {
            query.push_back(option);
        }
    }
    return query;
}

AccessorRequest requestOf(const AccessorOperation& operation, const XObjectDescriptor& descriptor) {
    return {operation, descriptor.getServiceName() + "/" + descriptor.getResourceName(),
            descriptor.getRelativeUri()};
}

// The request as text for log messages, such as "/ClampControl/clamps?type=Clamp15".
std::string readable(const XObjectDescriptor& descriptor) {
    std::string text = "/" + descriptor.getServiceName() + "/" + descriptor.getResourceName();
    char delimiter = '?';
    for (const auto& [key, value] : termsOf(descriptor)) {
        text.append(1, std::exchange(delimiter, '&')).append(key).append("=").append(value);
    }
    return text;
}

// The id of the element that a request is for.
std::string idOf(const AccessorOperation& operation, const XObjectDescriptor& descriptor) {
    if (!descriptor.getId() || descriptor.getId().getValue().empty()) {
        throw ZebException(operation.prefix() + "the descriptor has no id: " + descriptor.getRelativeUri(),
                           descriptor.getServiceName());
    }
    return descriptor.getId().getValue();
}

// Whether nobody can ask for the element again.
bool lacksId(const IXObject& element) {
    return !element.getId() || element.getId().getValue().empty();
}

// What the element that lacks an id has instead.
std::string foundInsteadOfId(const zebutil::JsonObject& json) {
    if (!json.has("id")) {
        return "expected a string, found nothing";
    }
    try {
        json.getString("id");
        return "expected a string, found an empty one";
    } catch (const std::exception& reason) {
        return reason.what();
    }
}

}  // namespace

ZebAccessor::ZebAccessor(std::shared_ptr<ITpAccess> access,
                         std::shared_ptr<zebutil::ITaskExecutor> requestExecutor,
                         std::shared_ptr<zebutil::ITaskExecutor> callbackExecutor,
                         std::shared_ptr<zebutil::ILogger> logger, std::shared_ptr<FaultLog> faults)
    : requests_(std::make_shared<AccessorRequests>(std::move(access), std::move(requestExecutor),
                                                   std::move(callbackExecutor), std::move(logger),
                                                   std::move(faults))) {}

ZebAccessor::~ZebAccessor() = default;

void ZebAccessor::add(AccessorRequest request, bool hasSuccessHandler) {
    const std::string prefix = request.operation.prefix();
    requests_->add(std::move(request));
    if (!hasSuccessHandler) {
        requests_->logger()->error(prefix + "missing success callback");
    }
}

void ZebAccessor::findFirstUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                                   UntypedSuccessHandler success, ErrorHandler error) {
    const bool hasSuccessHandler = static_cast<bool>(success);
    AccessorRequest request = requestOf(kFindFirst, descriptor);
    request.exchange = [descriptor](ITpAccess& access, ITpAccess::Deadline deadline) {
        return access.get(descriptor.getResourceName(), {}, queryOfFirst(descriptor), deadline);
    };
    request.read = [descriptor, elementFactory = std::move(elementFactory), success = std::move(success),
                    faults = requests_->faults()](const AccessorRequest::Response& response) {
        std::shared_ptr<const IXObject> element;
        if (const auto json = readFirstElement(response->getBody())) {
            element = elementFactory(json);
            if (lacksId(*element)) {
                const std::string fault =
                    kFindFirst.prefix() + readable(descriptor) +
                    " was answered with an element without a usable \"id\": " + foundInsteadOfId(*json);
                faults->warning(fault, fault);
            }
        } else {
            const std::string fault = kFindFirst.prefix() + readable(descriptor) + " matched no element";
            faults->warning(fault, fault);
        }
        return [success, element, response] {
            if (success) {
                success(element, response);
            }
        };
    };
    request.error = std::move(error);
    add(std::move(request), hasSuccessHandler);
}

void ZebAccessor::findAllUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                                 UntypedListHandler success, ErrorHandler error) {
    const bool hasSuccessHandler = static_cast<bool>(success);
    AccessorRequest request = requestOf(kFindAll, descriptor);
    request.exchange = [descriptor](ITpAccess& access, ITpAccess::Deadline deadline) {
        return access.get(descriptor.getResourceName(), {}, queryOfAll(descriptor), deadline);
    };
    request.read = [descriptor, elementFactory = std::move(elementFactory), success = std::move(success),
                    faults = requests_->faults()](const AccessorRequest::Response& response) {
        const std::string asked = kFindAll.prefix() + readable(descriptor);
        std::size_t position = 0;
        std::size_t lacking = 0;
        const auto makeElement = [&](const std::shared_ptr<zebutil::JsonObject>& json) {
            auto element = elementFactory(json);
            // A server may answer with any number of these.
            if (lacksId(*element) && ++lacking == 1) {
                const std::string found = " without a usable \"id\": " + foundInsteadOfId(*json);
                faults->warning(asked + found,
                                asked + " was answered with element " + std::to_string(position) + found);
            }
            ++position;
            return element;
        };
        UntypedList elements;
        try {
            elements = readElements(readList(response->getBody()), makeElement);
        } catch (const std::exception& exception) {
            const std::string fault =
                kFindAll.prefix() + "the answer to " + readable(descriptor) + " cannot be read";
            faults->warning(fault, fault + ": " + exception.what());
            throw;
        }
        if (lacking > 1) {
            faults->warning(asked + " lacks ids", asked + " was answered with " + std::to_string(lacking) +
                                                      " elements without a usable \"id\"");
        }
        return [success, elements = std::move(elements), response]() mutable {
            if (success) {
                success(std::move(elements), response);
            }
        };
    };
    request.error = std::move(error);
    add(std::move(request), hasSuccessHandler);
}

void ZebAccessor::findByIdUntyped(XObjectDescriptor descriptor, ElementFactory elementFactory,
                                  UntypedSuccessHandler success, ErrorHandler error) {
    const bool hasSuccessHandler = static_cast<bool>(success);
    const std::string id = idOf(kFindById, descriptor);
    AccessorRequest request = requestOf(kFindById, descriptor);
    request.exchange = [descriptor, id](ITpAccess& access, ITpAccess::Deadline deadline) {
        return access.get(descriptor.getResourceName(), id, queryOfElement(descriptor), deadline);
    };
    request.read = [id, elementFactory = std::move(elementFactory),
                    success = std::move(success)](const AccessorRequest::Response& response) {
        const auto json = readElement(response->getBody());
        std::shared_ptr<const IXObject> element = elementFactory(json);
        if (lacksId(*element)) {
            throw ZebException("the element has no usable \"id\": " + foundInsteadOfId(*json), "answer");
        }
        if (element->getId().getValue() != id) {
            throw ZebException("expected the element \"" + id + "\", got the element \"" +
                                   element->getId().getValue() + "\"",
                               "answer");
        }
        return [success, element, response] {
            if (success) {
                success(element, response);
            }
        };
    };
    request.error = std::move(error);
    add(std::move(request), hasSuccessHandler);
}

void ZebAccessor::writeUntyped(const XObjectDescriptor& descriptor,
                               const std::shared_ptr<zebutil::JsonObject>& body,
                               std::function<void(Response)> success, ErrorHandler error) {
    AccessorRequest request = requestOf(kWrite, descriptor);
    request.exchange = [resource = descriptor.getResourceName(), id = idOf(kWrite, descriptor),
                        text = body->toString()](ITpAccess& access, ITpAccess::Deadline deadline) {
        return access.post(resource, id, text, deadline);
    };
    request.read = [success = std::move(success)](const AccessorRequest::Response& response) {
        return [success, response] {
            if (success) {
                success(response);
            }
        };
    };
    request.error = std::move(error);
    add(std::move(request), true);  // a write needs no success handler
}

void ZebAccessor::cancel() {
    requests_->cancel();
}

}  // namespace zeb
