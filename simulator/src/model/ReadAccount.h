#pragma once

#include <cstddef>

#include "BusError.h"

namespace zebbussim {

/// Limits what one query reads of the elements, beside what it answers with: all other clients wait
/// meanwhile.
class ReadAccount {
 public:
    /// Counts bytes that are read. Throws `BusError` 413 when the query has read too much.
    void spend(std::size_t bytes) {
        if (bytes > bytesLeft_) {
            throw BusError(413, "payload_too_large",
                           "The query would read too much of the elements; use fewer keys and filters");
        }
        bytesLeft_ -= bytes;
    }

    /// Counts a search for a key among the members of an element.
    void spendOnLookup() { spend(kLookup); }

 private:
    static constexpr std::size_t kMaximum = 32 * 1024 * 1024;
    static constexpr std::size_t kLookup = 32;

    std::size_t bytesLeft_ = kMaximum;
};

}  // namespace zebbussim
