// What an application does again and again leaves nothing behind, not even until Stop().
//   LEAK_ROUNDS   number of rounds (default 30,000; fewer with sanitizers)

#include <LiveMemory.h>
#include <clampcontrolclient/ClampFollower.h>

#include <cstdlib>
#include <iostream>

#include "ClientFixture.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 1'000;
#else
constexpr int kRounds = 30'000;
#endif
constexpr int kFirstRounds = 200;
// Buffers and queues keep some memory, however many rounds there are. A leak of four bytes a round is more.
constexpr std::size_t kKept = std::size_t{64} * 1024;

int rounds() {
    const char* const variable = std::getenv("LEAK_ROUNDS");
    return variable != nullptr ? std::atoi(variable) : kRounds;
}

class Leaks : public e2e::ClientFixture {
 protected:
    // Repeats `work`, and expects no more memory after the last round than after the first ones.
    template <typename Work>
    static void expectNothingLeft(const Work& work) {
        std::size_t atFirst = 0;
        for (int round = 0; round < kFirstRounds + rounds(); ++round) {
            work();
            ASSERT_FALSE(HasFatalFailure()) << "in round " << round;
            if (round == kFirstRounds) {
                atFirst = test_support::liveBytes();
            }
        }
        const std::size_t atTheEnd = test_support::liveBytes();
        std::cout << "after " << kFirstRounds << " rounds: " << atFirst << " bytes, after " << rounds()
                  << " more: " << atTheEnd << std::endl;
        EXPECT_LT(atTheEnd, atFirst + kKept);
    }
};

TEST_F(Leaks, NoneWhenSubscribedAndUnsubscribedAgainAndAgain) {
    connectClient();
    expectNothingLeft([this] {
        ASSERT_EQ(client->SubscribeClampControl(), "1");
        ASSERT_EQ(application.next(), "notification");
        ASSERT_EQ(application.next(), "off");
        client->UnsubscribeClampControl("1");
    });
}

TEST_F(Leaks, NoneWhenClientsAreCreatedAndDestroyedAgainAndAgain) {
    connectClient();
    expectNothingLeft([] {
        e2e::Application other;
        clampcontrolclient::ClampControlClient shortLived;
        shortLived.AssignCallback(&other);
        shortLived.Start();
        ASSERT_EQ(other.next(), "connected");
    });
}

TEST_F(Leaks, NoneWhenFollowersAreCreatedAndDestroyedAgainAndAgain) {
    connectClient();
    expectNothingLeft([] {
        const clampcontrolclient::ClampFollower follower([](const clampcontrolclient::ClampStatus&) {});
        ASSERT_TRUE(follower.waitFor(clampcontrolclient::ClampState::Off, e2e::kLimit));
    });
}

}  // namespace
