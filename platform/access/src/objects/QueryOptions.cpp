#include <zeb/QueryOptions.h>

#include "Terms.h"

namespace zeb {

namespace {

std::string joined(const std::vector<std::string>& keys) {
    std::string text;
    for (const std::string& key : keys) {
        text += (text.empty() ? "" : ",") + key;
    }
    return text;
}

}  // namespace

void QueryOptions::setFields(const std::vector<std::string>& keys) {
    if (keys.empty()) {
        detail::removeTerm(options_, "$fields");
    } else {
        detail::setTerm(options_, "$fields", joined(keys));
    }
}

void QueryOptions::setExpand(EXPAND_LEVEL level, const std::vector<std::string>& keys) {
    if (level == EXPAND_LEVEL::NONE) {
        detail::removeTerm(options_, "$expand");
        return;
    }
    const std::string number = std::to_string(static_cast<std::int32_t>(level));
    detail::setTerm(options_, "$expand", keys.empty() ? number : number + ":" + joined(keys));
}

void QueryOptions::setSortBy(const std::vector<SortKey>& keys) {
    std::vector<std::string> signedKeys;
    for (const auto& [direction, key] : keys) {
        signedKeys.push_back((direction == SORTBY_OPERATOR::DESCENDING ? "-" : "+") + key);
    }
    if (signedKeys.empty()) {
        detail::removeTerm(options_, "$sortby");
    } else {
        detail::setTerm(options_, "$sortby", joined(signedKeys));
    }
}

void QueryOptions::setLimit(std::int64_t limit) {
    detail::setTerm(options_, "$limit", std::to_string(limit));
}

void QueryOptions::setOffset(std::int64_t offset) {
    detail::setTerm(options_, "$offset", std::to_string(offset));
}

void QueryOptions::setOffset(const std::string& offsetId) {
    detail::setTerm(options_, "$offset", "id:" + offsetId);
}

}  // namespace zeb
