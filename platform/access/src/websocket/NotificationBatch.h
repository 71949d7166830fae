#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "SubscriptionRecord.h"

namespace zeb {

/// Notifications in the order in which they came, their payloads in one piece of memory: once the storage has
/// grown to what a read brings, another one costs no allocation. Used by one thread at a time.
class NotificationBatch {
 public:
    void push(const SubscriptionRecord::Hold& subscription, std::string_view data) {
        // In this order: when memory runs out, there is nothing behind what the last run counts.
        text_ += data;
        sizes_.push_back(data.size());
        if (runs_.empty() || runs_.back().subscription != subscription) {
            runs_.push_back({subscription, 1});
        } else {
            ++runs_.back().count;
        }
    }

    /// Takes over what `later` has, and leaves it empty.
    void append(NotificationBatch& later) {
        text_ += later.text_;
        sizes_.insert(sizes_.end(), later.sizes_.begin(), later.sizes_.end());
        for (Run& run : later.runs_) {
            runs_.push_back(std::move(run));
        }
        later.clear();
    }

    bool isEmpty() const { return sizes_.empty(); }
    std::size_t count() const { return sizes_.size(); }
    std::size_t bytes() const { return text_.size(); }

    /// Calls `deliver(const SubscriptionRecord&, std::string_view data)` for each, and clears. What a
    /// subscription's handler holds is released before that of another one runs.
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
    /// Notifications of one subscription, one after another, which share one hold on it.
    struct Run {
        SubscriptionRecord::Hold subscription;
        std::size_t count;
    };

    struct Clearing {
        NotificationBatch& batch;
        ~Clearing() { batch.clear(); }
    };

    void clear() {
        runs_.clear();
        sizes_.clear();
        if (text_.capacity() > kKeptTextSize) {
            text_ = std::string();
        }
        text_.clear();
    }

    static constexpr std::size_t kKeptTextSize = std::size_t{64} * 1024;

    std::vector<Run> runs_;
    std::vector<std::size_t> sizes_;
    std::string text_;
};

}  // namespace zeb
