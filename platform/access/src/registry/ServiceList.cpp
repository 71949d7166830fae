#include "ServiceList.h"

#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>
#include <zebutil/StopHandler.h>

#include <exception>
#include <new>
#include <set>
#include <utility>

#include "json/TextScanner.h"

namespace zeb {

namespace {

constexpr const char* kWhere = "list of services";
constexpr const char* kOrigin = "service registry";
constexpr std::size_t kMostReasons = 64;

// Not the text itself, which may contain a password.
const char* kindOf(std::string_view value) {
    switch (value.front()) {
        case '"':
            return "a string";
        case '[':
            return "a list";
        case 't':
        case 'f':
            return "a boolean";
        case 'n':
            return "null";
        default:
            return "a number";
    }
}

void readEntry(std::string_view text, ServiceList& list) {
    if (text.size() > ServiceList::kLargestEntry) {
        throw ZebException("it is larger than 16 KiB", kWhere);
    }
    if (text.front() != '{') {
        throw ZebException(std::string("expected an object, got ") + kindOf(text), kWhere);
    }
    const auto element = zebutil::JsonObject::parse(text);
    std::string name = element->getString("name");
    try {
        list.endpoints.emplace(name, ServiceEndpoint::of(element->getString("serverBaseUri"),
                                                         element->getString("serverBasePath"), kOrigin));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& exception) {
        if (list.refused.size() < kMostReasons) {
            list.refused.emplace(std::move(name), exception.what());
        }
        throw;
    }
}

}  // namespace

ServiceList ServiceList::read(std::string_view text) {
    ServiceList list;
    std::set<std::string> reasons;
    TextScanner scanner(text, kWhere, TextScanner::Found::Hidden);
    scanner.expect('[');
    std::size_t position = 0;
    const bool isEmpty = scanner.consume(']');
    while (!isEmpty) {
        // The stop waits for this.
        if (zebutil::StopHandler::isStopped()) {
            list.isUnfinished = true;
            return list;
        }
        const std::string_view entry = scanner.value();
        try {
            readEntry(entry, list);
        } catch (const std::bad_alloc&) {
            throw;  // the entry is not to blame, and its service has not left
        } catch (const std::exception& exception) {
            if (reasons.size() < kMostReasons && reasons.insert(exception.what()).second) {
                list.ignored.push_back({position, exception.what()});
            }
        }
        if (!scanner.consume(',')) {
            scanner.expect(']');
            break;
        }
        if (++position == kMostEntries) {
            list.isCut = true;
            return list;
        }
    }
    scanner.expectEnd();
    return list;
}

}  // namespace zeb
