#include "PeerLookUp.h"

#include <netdb.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <zeb/ZebException.h>

#include <array>
#include <optional>
#include <thread>
#include <utility>

namespace zeb {

namespace {

struct Result {
    std::vector<std::string> addresses;
    std::string failure;
};

// Blocks, unless the host is an IP address.
Result lookUp(const std::string& host, int flags) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* entries = nullptr;
    Result result;
    if (const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &entries); error != 0) {
        result.failure = ::gai_strerror(error);
        return result;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(entries, ::freeaddrinfo);
    for (const addrinfo* entry = entries; entry != nullptr; entry = entry->ai_next) {
        std::array<char, NI_MAXHOST> text{};
        if (::getnameinfo(entry->ai_addr, entry->ai_addrlen, text.data(), text.size(), nullptr, 0,
                          NI_NUMERICHOST) == 0) {
            result.addresses.emplace_back(text.data());
        }
    }
    return result;
}

}  // namespace

struct PeerLookUp::State {
    std::mutex mutex;
    std::condition_variable changed;
    bool isCancelled = false;
    bool isRunning = false;
    std::optional<Result> result;
};

PeerLookUp::PeerLookUp(std::string host) : host_(std::move(host)), state_(std::make_shared<State>()) {}

PeerLookUp::~PeerLookUp() = default;

std::vector<std::string> PeerLookUp::addresses(Deadline deadline) {
    Result numeric = lookUp(host_, AI_NUMERICHOST);
    if (!numeric.addresses.empty()) {
        return std::move(numeric.addresses);
    }
    std::unique_lock lock(state_->mutex);
    if (!state_->isCancelled && !std::exchange(state_->isRunning, true)) {
        state_->result.reset();
        // Signals of the application must be handled by its own threads.
        sigset_t all;
        sigset_t previous;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous);
        std::thread([state = state_, host = host_] {
            Result result = lookUp(host, 0);
            const std::lock_guard stateLock(state->mutex);
            state->isRunning = false;
            state->result = std::move(result);
            state->changed.notify_all();
        }).detach();
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }
    const bool isOver = state_->changed.wait_until(
        lock, deadline, [this] { return state_->isCancelled || state_->result.has_value(); });
    if (state_->isCancelled) {
        throw ZebException("cancelled: the service is disconnected or the client stops", "look-up");
    }
    if (!isOver) {
        throw ZebException("no answer within the time limit", "look-up of host \"" + host_ + "\"");
    }
    if (state_->result->addresses.empty()) {
        throw ZebException(state_->result->failure, "look-up of host \"" + host_ + "\"");
    }
    return state_->result->addresses;
}

void PeerLookUp::cancel() {
    const std::lock_guard lock(state_->mutex);
    state_->isCancelled = true;
    state_->changed.notify_all();
}

}  // namespace zeb
