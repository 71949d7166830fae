#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ServiceEndpoint.h"

namespace zeb {

/// The list of services as the registry service sends it: an array of elements, each with "name",
/// "serverBaseUri" and "serverBasePath". Nothing else of it is kept. A plain value.
struct ServiceList {
    /// Entries behind these are not read.
    static constexpr std::size_t kMostEntries = 10'000;
    /// A larger entry is ignored.
    static constexpr std::size_t kLargestEntry = std::size_t{16} * 1024;

    struct Ignored {
        std::size_t position;
        std::string reason;
    };

    /// By name; of two entries of one name, the first counts.
    std::map<std::string, ServiceEndpoint> endpoints;
    /// The entries that cannot be used, those with the same reason once.
    std::vector<Ignored> ignored;
    /// Why the entry of a name cannot be used, if no other entry of that name can; of the first few names.
    std::map<std::string, std::string> refused;
    bool isCut = false;         ///< whether there are more than kMostEntries
    bool isUnfinished = false;  ///< whether the executor that reads was stopped meanwhile

    /// @throws std::exception if the text is no array, `std::bad_alloc` without the memory for an entry
    static ServiceList read(std::string_view text);
};

}  // namespace zeb
