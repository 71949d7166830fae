#include "UnfinishedInput.h"

#include <utility>

namespace zebbussim {

UnfinishedInput::Part::Part(UnfinishedInput& input, std::function<void()> endConnection)
    : all_(input), endConnection_(std::move(endConnection)) {}

void UnfinishedInput::Part::setSize(std::size_t size) {
    if (!unfinished_) {
        place_ = all_.parts_.insert(all_.parts_.end(), this);
        unfinished_ = true;
    }
    all_.size_ += size;
    all_.size_ -= std::exchange(size_, size);
    while (all_.size_ > kMaximum) {
        Part& oldest = *all_.parts_.front();
        oldest.finish();
        oldest.endConnection_();
    }
}

void UnfinishedInput::Part::finish() {
    if (unfinished_) {
        all_.parts_.erase(place_);
        all_.size_ -= std::exchange(size_, 0);
        unfinished_ = false;
    }
}

}  // namespace zebbussim
