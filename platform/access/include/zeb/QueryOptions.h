#pragma once

#include <zeb/Export.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zeb {

/// What a read of a resource asks for besides its filter: which fields, how far references are followed, in
/// which order, how many elements, and from which one on.
///
/// Thread safety: that of a plain value.
class ZEB_EXPORT QueryOptions {
 public:
    /// How many levels of references are replaced by the elements that they name. The numbers in between are
    /// levels too.
    enum class EXPAND_LEVEL : std::int32_t {
        NONE = 0,  ///< references stay references
        ONE = 1,   ///< the references of the element itself are replaced
        ALL = 8    ///< those of the inserted elements too, and so on, as deep as the bus goes
    };

    enum class SORTBY_OPERATOR : std::int32_t {
        ASCENDING,  ///< "+"
        DESCENDING  ///< "-"
    };

    using SortKey = std::pair<SORTBY_OPERATOR, std::string>;

    /// A name ("$fields", "$expand", "$sortby", "$limit", "$offset") and its value, not percent-encoded.
    using Option = std::pair<std::string, std::string>;
    using const_iterator = std::vector<Option>::const_iterator;

    /// Asks only for these keys of each element: "$fields=a,b". An empty list asks for all keys.
    void setFields(const std::vector<std::string>& keys);

    /// "$expand=1", or "$expand=1:a,b" to follow only the references under the given keys. `NONE` removes the
    /// option, whatever the keys.
    void setExpand(EXPAND_LEVEL level, const std::vector<std::string>& keys = {});

    /// "$sortby=+a,-b". The first key has the highest priority. An empty list removes the option.
    void setSortBy(const std::vector<SortKey>& keys);

    /// Asks for at most this many elements: "$limit=10". Not checked here; the bus refuses a negative number.
    void setLimit(std::int64_t limit);

    /// Skips this many elements at the start: "$offset=20"; or all elements up to and including the one with
    /// this id: "$offset=id:<id>".
    void setOffset(std::int64_t offset);
    void setOffset(const std::string& offsetId);

    bool isEmpty() const { return options_.empty(); }

    /// The options that are set, in the order in which they were first set.
    const_iterator begin() const { return options_.begin(); }
    const_iterator end() const { return options_.end(); }

 private:
    std::vector<Option> options_;
};

}  // namespace zeb
