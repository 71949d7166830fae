#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BusModel.h"
#include "RequestTarget.h"

namespace zebbussim {

class AnswerText;

/// The filters and options of a request target's query, and their effect.
class Query {
 public:
    static constexpr std::size_t kMaximumAnswer = 16 * 1024 * 1024;

    /// These throw `BusError` 400 for unusable terms. An element accepts only "$fields" and "$expand".
    static Query forCollection(const QueryTerms& terms);
    static Query forElement(const QueryTerms& terms);

    // Both throw `BusError` 413 when the answer would be larger than `kMaximumAnswer`.

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
    void addFilter(const std::string& key, const std::string& value);
    bool matches(const Element& element) const;
    void write(const Element& element, AnswerText& answer) const;
    void sort(std::vector<const Element*>& elements) const;

    std::map<std::string, std::string> filters_;
    bool matchesNothing_ = false;  ///< one key must have two values
    std::optional<std::set<std::string, std::less<>>> fields_;
    int expandLevel_ = 0;
    std::optional<std::set<std::string, std::less<>>> expandKeys_;
    std::vector<SortKey> sortKeys_;
    std::optional<std::uint64_t> limit_;
    std::uint64_t offset_ = 0;
    std::optional<std::string> offsetId_;
};

}  // namespace zebbussim
