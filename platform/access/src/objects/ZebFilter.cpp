#include <zeb/ZebFilter.h>

#include "Terms.h"

namespace zeb {

void ZebFilter::add(const std::string& key, bool value) {
    detail::setTerm(terms_, key, value ? "true" : "false");
}

void ZebFilter::add(const std::string& key, std::int64_t value) {
    detail::setTerm(terms_, key, std::to_string(value));
}

void ZebFilter::add(const std::string& key, std::string value) {
    detail::setTerm(terms_, key, std::move(value));
}

void ZebFilter::add(const std::string& key, const char* value) {
    detail::setTerm(terms_, key, value);
}

}  // namespace zeb
