#pragma once

#include <string>
#include <vector>

#include "BusModel.h"
#include "ReadAccount.h"

namespace zebbussim {

struct SortKey {
    std::string key;  ///< with its quotes
    bool descending;
};

/// Sorts elements by what they have under the keys, of which the first counts most. Stable. Copies no value,
/// and reads two strings only as far as they are equal.
void sortElements(std::vector<const Element*>& elements, const std::vector<SortKey>& keys,
                  ReadAccount& account);

}  // namespace zebbussim
