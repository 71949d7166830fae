#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace zeb::detail {

/// Sets the value of the term `name`. An existing term keeps its place; a new one is appended.
inline void setTerm(std::vector<std::pair<std::string, std::string>>& terms, const std::string& name,
                    std::string value) {
    const auto found =
        std::find_if(terms.begin(), terms.end(), [&name](const auto& term) { return term.first == name; });
    if (found != terms.end()) {
        found->second = std::move(value);
    } else {
        if (terms.empty()) {
            terms.reserve(2);  // few have only one
        }
        terms.emplace_back(name, std::move(value));
    }
}

inline void removeTerm(std::vector<std::pair<std::string, std::string>>& terms, const std::string& name) {
    terms.erase(
        std::remove_if(terms.begin(), terms.end(), [&name](const auto& term) { return term.first == name; }),
        terms.end());
}

}  // namespace zeb::detail
