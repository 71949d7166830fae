#include "PeerLookUp.h"

#include <zeb/ZebException.h>

#include <boost/asio/ip/address.hpp>
#include <boost/system/error_code.hpp>
#include <utility>

namespace zeb {

PeerLookUp::PeerLookUp(std::string host, NameResolver& resolver)
    : host_(std::move(host)), resolver_(resolver) {}

std::vector<std::string> PeerLookUp::addresses(Deadline deadline) {
    boost::system::error_code isName;
    boost::asio::ip::make_address(host_, isName);
    if (!isName) {
        return {host_};
    }
    const std::string step = "look-up of the host \"" + host_ + "\"";
    std::unique_lock lock(mutex_);
    answer_.reset();
    lock.unlock();
    // Answers with the mutex free, since that may happen within the call.
    const NameResolver::Question question = resolver_.ask(host_, [this](const NameResolver::Answer& answer) {
        const std::lock_guard answerLock(mutex_);
        answer_ = answer;
        changed_.notify_all();
    });
    lock.lock();
    const bool isOver = changed_.wait_until(lock, deadline, [this] { return isCancelled_ || answer_; });
    // The question is forgotten with the mutex free, because an answer may just wait for it.
    const bool isCancelled = isCancelled_;
    const auto answer = std::exchange(answer_, std::nullopt);
    lock.unlock();
    if (isCancelled) {
        throw ZebException("cancelled: the service is disconnected or the client stops", step);
    }
    if (!isOver || !answer) {
        throw ZebException("no answer within the time limit", step);
    }
    if (answer->addresses.empty()) {
        throw ZebException(answer->failure, step);
    }
    std::vector<std::string> addresses;
    for (const auto& address : answer->addresses) {
        addresses.push_back(address.to_string());
    }
    return addresses;
}

void PeerLookUp::cancel() {
    const std::lock_guard lock(mutex_);
    isCancelled_ = true;
    changed_.notify_all();
}

}  // namespace zeb
