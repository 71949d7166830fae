#include "Signals.h"

#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <thread>

namespace {

// Always blocked, so it never ends the program.
int wakeSignal() {
    return SIGRTMIN;
}

timespec timeLeft(std::chrono::steady_clock::time_point until) {
    using std::chrono::nanoseconds;
    const auto left = std::max(nanoseconds(0), nanoseconds(until - std::chrono::steady_clock::now()));
    constexpr long kNanoseconds = 1'000'000'000;
    return {static_cast<time_t>(left.count() / kNanoseconds), static_cast<long>(left.count() % kNanoseconds)};
}

}  // namespace

Signals::Signals() {
    sigemptyset(&ending_);
    sigaddset(&ending_, SIGINT);
    sigaddset(&ending_, SIGTERM);
    awaited_ = ending_;
    sigaddset(&awaited_, SIGUSR1);
    sigaddset(&awaited_, wakeSignal());
    pthread_sigmask(SIG_BLOCK, &awaited_, nullptr);
    // If the reader of the output disappears, a write fails and the program reports it.
    std::signal(SIGPIPE, SIG_IGN);
}

std::optional<Signals::Event> Signals::wait(
    std::optional<std::chrono::steady_clock::time_point> until) const {
    for (;;) {
        const timespec limit = until ? timeLeft(*until) : timespec{};
        const int received = sigtimedwait(&awaited_, nullptr, until ? &limit : nullptr);
        if (received == wakeSignal()) {
            return Event::Wake;
        }
        if (received == SIGUSR1) {
            return Event::Stats;
        }
        if (received > 0) {
            return Event::End;
        }
        if (errno == EAGAIN) {
            return std::nullopt;
        }
        // A stop and continuation of the program interrupts the wait.
    }
}

void Signals::wake() {
    kill(getpid(), wakeSignal());
}

void Signals::heedASecondOne() const {
    const auto awaitAnother = [ending = ending_] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const timespec noWait{};
        while (sigtimedwait(&ending, nullptr, &noWait) > 0) {
        }
        pthread_sigmask(SIG_UNBLOCK, &ending, nullptr);
        while (true) {
            pause();
        }
    };
    try {
        std::thread(awaitAnother).detach();
    } catch (const std::system_error&) {
        // Without a thread to wait for it, the second signal ends the program right away.
        pthread_sigmask(SIG_UNBLOCK, &ending_, nullptr);
    }
}
