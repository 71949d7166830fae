#include "TlsContextWait.h"

namespace zebutil {

std::optional<TlsContextAnswer> TlsContextWait::get(const std::string& service, Deadline deadline) {
    {
        // An answer that came when nobody waited for it any more is not the answer to this question.
        const std::lock_guard lock(mutex_);
        answer_.reset();
    }
    // Asks and forgets with the mutex free: an answer may come within the call, or just wait for the mutex.
    const TlsContextQuestion question(service, [this](const TlsContextAnswer& answer) {
        const std::lock_guard lock(mutex_);
        answer_ = answer;
        changed_.notify_all();
    });
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, deadline, [this] { return isCancelled_ || answer_; });
    return isCancelled_ ? std::nullopt : answer_;
}

void TlsContextWait::cancel() {
    const std::lock_guard lock(mutex_);
    isCancelled_ = true;
    changed_.notify_all();
}

bool TlsContextWait::isCancelled() const {
    const std::lock_guard lock(mutex_);
    return isCancelled_;
}

}  // namespace zebutil
