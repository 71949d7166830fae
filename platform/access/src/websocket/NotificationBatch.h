#pragma once

#include <internal/KeptMemory.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "SubscriptionRecord.h"

namespace zeb {

/// Notifications in the order in which they arrived, with their payloads in one piece of memory. A few of
/// ordinary size cost no allocation, since the storage is used again. Used by one thread at a time.
class NotificationBatch {
 public:
    void push(const SubscriptionRecord::Hold& subscription, std::string_view data) {
        // The order matters when memory runs out: whatever was added is ignored unless the last run counts
        // it.
        text_ += data;
        sizes_.push_back(data.size());
        if (runs_.empty() || runs_.back().subscription != subscription) {
            runs_.push_back({subscription, 1});
        } else {
            ++runs_.back().count;
        }
    }

    /// Moves everything from `later` to the end of this batch.
    void append(NotificationBatch& later) {
        // First what may fail for want of memory.
        text_.reserve(text_.size() + later.text_.size());
        // A vector would reserve exactly that, and move everything for each of many small batches.
        if (const std::size_t size = sizes_.size() + later.sizes_.size(); size > sizes_.capacity()) {
            sizes_.reserve(std::max(size, 2 * sizes_.capacity()));
        }
        runs_.insert(runs_.end(), std::make_move_iterator(later.runs_.begin()),
                     std::make_move_iterator(later.runs_.end()));
        sizes_.insert(sizes_.end(), later.sizes_.begin(), later.sizes_.end());
        text_ += later.text_;
        later.clear();
    }

    bool isEmpty() const { return sizes_.empty(); }
    std::size_t count() const { return sizes_.size(); }
    std::size_t bytes() const { return text_.size(); }

    /// Calls `deliver(const SubscriptionRecord&, std::string_view data)` for each notification, then clears
    /// the batch. A subscription is released before the handler of the next one runs.
    template <typename Deliver>
    void deliverAll(const Deliver& deliver) {
        const Clearing atTheEnd{*this};
        std::string_view rest = text_;
        auto size = sizes_.begin();
        for (Run& run : runs_) {
            for (; run.count > 0; --run.count) {
                deliver(*run.subscription, rest.substr(0, *size));
                rest.remove_prefix(*size);
                ++size;
            }
            run.subscription = nullptr;
        }
    }

 private:
    /// Consecutive notifications of one subscription, which share one hold on it.
    struct Run {
        SubscriptionRecord::Hold subscription;
        std::size_t count;
    };

    struct Clearing {
        NotificationBatch& batch;
        ~Clearing() { batch.clear(); }
    };

    void clear() {
        internal::clearKeeping(runs_, kKeptCount);
        internal::clearKeeping(sizes_, kKeptCount);
        internal::clearKeeping(text_, kKeptTextSize);
    }

    // A burst pays for its storage, a few allocations for a batch of hundreds.
    static constexpr std::size_t kKeptCount = 64;
    static constexpr std::size_t kKeptTextSize = std::size_t{8} * 1024;

    std::vector<Run> runs_;
    std::vector<std::size_t> sizes_;
    std::string text_;
};

}  // namespace zeb
