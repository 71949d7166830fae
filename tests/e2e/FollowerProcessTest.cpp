// A process that follows terminal 15 may end, fork, or lack threads at any time. Each test runs such a
// process, with the shipped library, the real log and a bus on loopback whose terminal changes all the time.

#include <ChildProcess.h>
#include <FailingThreads.h>
#include <TemporaryDirectory.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <clampcontrolclient/ClampFollower.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "ChangingBus.h"

namespace {

using clampcontrolclient::ClampControlClient;
using clampcontrolclient::ClampFollower;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatus;
using test_support::runInChild;
using test_support::TemporaryDirectory;

constexpr std::chrono::seconds kLimit{30};

/// Runs `work`, which begins to follow, in a process of its own.
test_support::ChildResult run(const std::function<void()>& work) {
    const TemporaryDirectory directory;
    return runInChild([&] {
        ::alarm(60);  // ends a process that hangs
        e2e::configureClients(directory, e2e::startChangingBus());
        work();
    });
}

void expectCleanExit(const std::function<void()>& work) {
    const auto result = run(work);
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

/// Ends the process if the state does not become known.
void awaitState(const ClampFollower& follower) {
    if (!follower.waitFor(ClampState::On, kLimit)) {
        std::_Exit(4);
    }
}

[[noreturn]] void waitForTheEnd() {
    while (true) {
        ::pause();
    }
}

TEST(ExitWithAFollower, IsClean) {
    expectCleanExit([] {
        const ClampFollower follower;
        awaitState(follower);
    });
}

TEST(ExitWithAFollower, IsCleanWithOneInAStatic) {
    expectCleanExit([] {
        static const ClampFollower follower([](const ClampStatus&) {});
        awaitState(follower);
    });
}

TEST(ExitWithAFollower, IsCleanWithOneThatIsNeverDestroyed) {
    expectCleanExit([] {
        static const auto& follower = *new ClampFollower([](const ClampStatus&) {});
        awaitState(follower);
    });
}

/// Constructed before everything in the library, so destroyed after it.
std::unique_ptr<ClampFollower> heldByAGlobal;

TEST(ExitWithAFollower, IsCleanWithOneThatAGlobalHolds) {
    expectCleanExit([] {
        heldByAGlobal = std::make_unique<ClampFollower>([](const ClampStatus&) {});
        awaitState(*heldByAGlobal);
    });
}

TEST(ExitWithAFollower, IsCleanWhileAThreadWaitsForAState) {
    expectCleanExit([] {
        static const auto& follower = *new ClampFollower();
        awaitState(follower);
        std::thread([] {
            while (true) {
                follower.waitFor(ClampState::Unknown, kLimit);
            }
        }).detach();
    });
}

TEST(ExitWithAFollower, IsCleanWhileFollowersAreMadeAndDestroyed) {
    expectCleanExit([] {
        static auto& hasFollowed = *new std::promise<void>();
        std::thread([] {
            awaitState(ClampFollower());
            hasFollowed.set_value();
            while (true) {
                ClampFollower([](const ClampStatus&) {
                }).waitFor(ClampState::On, std::chrono::milliseconds(2));
            }
        }).detach();
        hasFollowed.get_future().wait();
    });
}

TEST(ExitWithAFollower, IsCleanInsideItsHandler) {
    expectCleanExit([] {
        static const ClampFollower follower([](const ClampStatus& status) {
            if (status.state == ClampState::On) {
                std::exit(0);
            }
        });
        waitForTheEnd();
    });
}

TEST(ExitWithAFollower, IsCleanWhenTheClientsWereStopped) {
    expectCleanExit([] {
        static const ClampFollower follower([](const ClampStatus&) {});
        awaitState(follower);
        ClampControlClient().Stop();
    });
}

/// Forks while a follower works, and does `work` in the child, which must end by itself.
void expectForkedChildToEnd(const std::function<void(std::optional<ClampFollower>&)>& work) {
    const auto result = run([&work] {
        std::optional<ClampFollower> follower(std::in_place);
        awaitState(*follower);
        const auto forked = runInChild([&] {
            ::alarm(20);
            work(follower);
        });
        std::cout << "signal " << forked.signal << ", exit code " << forked.exitCode << std::endl;
    });
    EXPECT_EQ(result.output, "signal 0, exit code 0\n") << result.errors;
}

TEST(FollowerInAForkedChild, Exits) {
    expectForkedChildToEnd([](auto&) {});
}

TEST(FollowerInAForkedChild, IsDestroyed) {
    expectForkedChildToEnd([](auto& follower) { follower.reset(); });
}

TEST(FollowerInAForkedChild, KnowsNoStateAndSaysWhy) {
    expectForkedChildToEnd([](auto& follower) {
        const ClampStatus status = follower->status();
        if (status.state != ClampState::Unknown || status.reason.find("forked") == std::string::npos) {
            std::_Exit(1);
        }
    });
}

TEST(FollowerInAForkedChild, WaitsForNothing) {
    expectForkedChildToEnd([](auto& follower) {
        if (follower->waitFor(ClampState::On, std::chrono::hours(1))) {
            std::_Exit(1);
        }
    });
}

TEST(FollowerInAForkedChild, MayBeANewOneThatSaysThatItCannotFollow) {
    expectForkedChildToEnd([](auto&) {
        const ClampFollower ofChild;
        if (ofChild.status().state != ClampState::Unknown || ofChild.status().reason.empty()) {
            std::_Exit(1);
        }
    });
}

TEST(FollowerInAForkedChild, DoesNotSayThatANewOneTriesAgain) {
    expectForkedChildToEnd([](auto&) {
        const ClampFollower ofChild;
        if (ofChild.status().reason.find("trying again") != std::string::npos) {
            std::_Exit(1);
        }
    });
}

TEST(FollowerWithoutThreads, FollowsOnceThereAreThreads) {
    for (int count = 0; count < 5; ++count) {
        const auto result = run([count] {
            test_support::ignoreLeaks();  // those of libdlt
            std::unique_ptr<ClampFollower> follower;
            {
                const test_support::FailingThreads fewThreads(count);
                follower = std::make_unique<ClampFollower>();
                follower->waitFor(ClampState::On, std::chrono::milliseconds(300));
            }
            awaitState(*follower);
        });
        EXPECT_EQ(result.signal, 0) << count << " threads: " << result.errors;
        EXPECT_EQ(result.exitCode, 0) << count << " threads: " << result.errors;
    }
}

}  // namespace
