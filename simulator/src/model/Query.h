#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "BusModel.h"
#include "ElementOrder.h"
#include "ReadAccount.h"
#include "http/RequestTarget.h"

namespace zebbussim {

class AnswerText;

/// The filters and options of a request target's query, and their effect.
class Query {
 public:
    static constexpr std::size_t kMaximumAnswer = 16 * 1024 * 1024;

    /// These throw `BusError` 400 for unusable terms. An element accepts only "$fields" and "$expand".
    static Query forCollection(const QueryTerms& terms);
    static Query forElement(const QueryTerms& terms);

    // Both throw `BusError` 413 when the answer would be larger than `kMaximumAnswer`, or when too much of
    // the elements would have to be read for it.

    /// Returns the selected elements as a JSON list.
    std::string select(const Resource& resource, BusModel& model) const;
    /// Returns the JSON text of one element.
    std::string render(const Element& element, BusModel& model) const;

 private:
    struct Filter {
        std::string value;
        std::string quotedValue;  ///< as a string of the bus has it
    };

    void readOption(const std::string& key, const std::string& value);
    void addFilter(const std::string& key, const std::string& value);
    void addSortKey(const std::string& text);
    bool matches(const Element& element, ReadAccount& account) const;
    static bool matches(std::string_view value, const Filter& filter, ReadAccount& account);
    static bool matchesList(std::string_view list, std::string_view wanted, ReadAccount& account);
    void write(const Element& element, AnswerText& answer, ReadAccount& account) const;
    std::vector<JsonMember> wantedMembers(const Element& element, ReadAccount& account) const;

    // All keys have their quotes.
    std::map<std::string, Filter> filters_;
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
