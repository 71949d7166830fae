#include "NameResolver.h"

#include <internal/BlockedSignals.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

namespace zeb {

namespace {

namespace ip = boost::asio::ip;

std::optional<ip::address> addressOf(const addrinfo& entry) {
    if (entry.ai_family == AF_INET && entry.ai_addrlen >= sizeof(sockaddr_in)) {
        sockaddr_in address{};
        std::memcpy(&address, entry.ai_addr, sizeof address);
        return ip::address_v4(ntohl(address.sin_addr.s_addr));
    }
    if (entry.ai_family == AF_INET6 && entry.ai_addrlen >= sizeof(sockaddr_in6)) {
        sockaddr_in6 address{};
        std::memcpy(&address, entry.ai_addr, sizeof address);
        ip::address_v6::bytes_type bytes{};
        std::memcpy(bytes.data(), &address.sin6_addr, bytes.size());
        return ip::address_v6(bytes, address.sin6_scope_id);
    }
    return std::nullopt;
}

NameResolver::Answer askTheSystem(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* entries = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &entries);
    const int systemError = errno;
    NameResolver::Answer answer;
    if (error != 0) {
        answer.failure = error == EAI_SYSTEM ? std::generic_category().message(systemError)
                                             : std::string(::gai_strerror(error));
        return answer;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(entries, ::freeaddrinfo);
    for (const addrinfo* entry = entries; entry != nullptr; entry = entry->ai_next) {
        const auto address = addressOf(*entry);
        if (address &&
            std::find(answer.addresses.begin(), answer.addresses.end(), *address) == answer.addresses.end()) {
            answer.addresses.push_back(*address);
        }
    }
    if (answer.addresses.empty()) {
        answer.failure = "it has no address";
    }
    return answer;
}

}  // namespace

struct NameResolver::Waiter {
    std::string host;
    Done done;
};

// Shared by the resolver, the questions and the threads, because none of them waits for a thread.
class NameResolver::State : public std::enable_shared_from_this<NameResolver::State> {
 public:
    explicit State(Function function) : function_(std::move(function)), process_(::getpid()) {}

    void ask(const std::shared_ptr<Waiter>& waiter) {
        const std::lock_guard lock(mutex_);
        if (process_ != ::getpid()) {
            // A forked child has none of the threads.
            process_ = ::getpid();
            threads_ = 0;
            queued_.clear();
            waiters_.clear();
        }
        const auto [found, isNew] = waiters_.try_emplace(waiter->host);
        found->second.push_back(waiter);
        if (isNew) {
            queued_.push_back(waiter->host);
        }
        if (!queued_.empty() && threads_ < kMostThreads) {
            startThread();
        }
    }

    void forget(const std::shared_ptr<Waiter>& waiter) {
        const std::lock_guard lock(mutex_);
        const auto found = waiters_.find(waiter->host);
        if (found == waiters_.end()) {
            return;
        }
        auto& waiters = found->second;
        waiters.erase(std::remove(waiters.begin(), waiters.end(), waiter), waiters.end());
        const auto queued = std::find(queued_.begin(), queued_.end(), waiter->host);
        if (waiters.empty() && queued != queued_.end()) {
            queued_.erase(queued);
            waiters_.erase(found);
        }
    }

 private:
    void startThread() {
        const internal::BlockedSignals blockedInTheNewThread;
        try {
            std::thread thread([self = shared_from_this()] { self->serve(); });
            pthread_setname_np(thread.native_handle(), "zebResolver");
            thread.detach();
            ++threads_;
        } catch (const std::exception& exception) {
            // The other threads may wait for silent name servers, so nobody should wait for them.
            const Answer answer{{}, std::string("no thread to look it up: ") + exception.what()};
            while (!queued_.empty()) {
                const std::string host = std::move(queued_.front());
                queued_.pop_front();
                tell(host, answer);
            }
        }
    }

    // Throws nothing: the thread has nobody to tell.
    void serve() noexcept {
        std::unique_lock lock(mutex_);
        while (!queued_.empty()) {
            const std::string host = std::move(queued_.front());
            queued_.pop_front();
            lock.unlock();
            const Answer answer = lookUp(host);
            lock.lock();
            tell(host, answer);
        }
        --threads_;
    }

    Answer lookUp(const std::string& host) noexcept {
        try {
            return function_(host);
        } catch (const std::exception&) {
            // Short enough to need no memory.
            Answer answer;
            answer.failure = "out of memory";
            return answer;
        }
    }

    // Under the mutex, so that nobody is told who has forgotten his question.
    void tell(const std::string& host, const Answer& answer) noexcept {
        const auto found = waiters_.find(host);
        if (found == waiters_.end()) {
            return;
        }
        for (const auto& waiter : found->second) {
            try {
                waiter->done(answer);
            } catch (...) {
                continue;  // no memory to hand it over: his time limit ends the wait
            }
        }
        waiters_.erase(found);
    }

    const Function function_;
    std::mutex mutex_;
    pid_t process_;
    std::size_t threads_ = 0;
    std::deque<std::string> queued_;  ///< names that no thread has taken yet
    /// Of every name that is queued or being looked up.
    std::map<std::string, std::vector<std::shared_ptr<Waiter>>> waiters_;
};

NameResolver::Question& NameResolver::Question::operator=(Question&& other) noexcept {
    forget();
    state_ = std::move(other.state_);
    waiter_ = std::move(other.waiter_);
    return *this;
}

void NameResolver::Question::forget() {
    if (state_) {
        state_->forget(waiter_);
        state_.reset();
        waiter_.reset();
    }
}

NameResolver& NameResolver::ofProcess() {
    static auto& instance = *new NameResolver();
    return instance;
}

NameResolver::NameResolver() : NameResolver(askTheSystem) {}

NameResolver::NameResolver(Function function) : state_(std::make_shared<State>(std::move(function))) {}

NameResolver::Question NameResolver::ask(const std::string& host, Done done) {
    const auto waiter = std::make_shared<Waiter>(Waiter{host, std::move(done)});
    Question question(state_, waiter);
    state_->ask(waiter);
    return question;
}

}  // namespace zeb
