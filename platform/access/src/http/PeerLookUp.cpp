#include "PeerLookUp.h"

#include <zeb/ZebException.h>

#include <boost/asio/ip/address.hpp>
#include <optional>
#include <utility>

#include "io/NameResolver.h"

namespace zeb {

struct PeerLookUp::State {
    std::mutex mutex;
    std::condition_variable changed;
    bool isCancelled = false;
    std::optional<NameResolver::Answer> answer;
};

PeerLookUp::PeerLookUp(std::string host) : host_(std::move(host)), state_(std::make_shared<State>()) {}

PeerLookUp::~PeerLookUp() = default;

std::vector<std::string> PeerLookUp::addresses(Deadline deadline) {
    boost::system::error_code isName;
    boost::asio::ip::make_address(host_, isName);
    if (!isName) {
        return {host_};
    }
    {
        const std::lock_guard lock(state_->mutex);
        state_->answer.reset();
    }
    const auto question =
        NameResolver::ofProcess().ask(host_, [state = state_](const NameResolver::Answer& answer) {
            const std::lock_guard lock(state->mutex);
            state->answer = answer;
            state->changed.notify_all();
        });
    std::unique_lock lock(state_->mutex);
    const bool isOver = state_->changed.wait_until(
        lock, deadline, [this] { return state_->isCancelled || state_->answer.has_value(); });
    const std::string where = "look-up of host \"" + host_ + "\"";
    if (state_->isCancelled) {
        throw ZebException("cancelled: the service is disconnected or the client stops", where);
    }
    if (!isOver) {
        throw ZebException("no answer within the time limit", where);
    }
    if (!state_->answer->failure.empty()) {
        throw ZebException(state_->answer->failure, where);
    }
    std::vector<std::string> addresses;
    for (const auto& address : state_->answer->addresses) {
        addresses.push_back(address.to_string());
    }
    return addresses;
}

void PeerLookUp::cancel() {
    const std::lock_guard lock(state_->mutex);
    state_->isCancelled = true;
    state_->changed.notify_all();
}

}  // namespace zeb
