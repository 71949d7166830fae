#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BusModel.h"
#include "RequestTarget.h"

namespace zebbussim {

/// The filters and options of a request target's query, and their effect.
class Query {
 public:
    /// These throw `BusError` 400 for unusable terms. An element accepts only "$fields" and "$expand".
    static Query forCollection(const QueryTerms& terms);
    static Query forElement(const QueryTerms& terms);

    /// Returns the selected elements as a JSON list.
    std::string select(const Resource& resource, BusModel& model) const;
    /// Returns the JSON text of one element.
    std::string render(const Element& element, BusModel& model) const;

 private:
    struct SortKey {
        std::string key;
        bool descending;
    };

    void readOption(const std::string& key, const std::string& value);
    bool matches(const Element& element) const;
    bool comesBefore(const Element& left, const Element& right) const;

    QueryTerms filters_;
    std::optional<std::set<std::string>> fields_;
    int expandLevel_ = 0;
    std::optional<std::set<std::string>> expandKeys_;
    std::vector<SortKey> sortKeys_;
    std::optional<std::uint64_t> limit_;
    std::uint64_t offset_ = 0;
    std::optional<std::string> offsetId_;
};

}  // namespace zebbussim
