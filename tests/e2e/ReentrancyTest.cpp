// What an application may do inside its callbacks, for every action and every callback. Where ClientTest
// covers an action for one callback, this covers the others.

#include <csc_logging/CSCLogging.h>

#include <cctype>
#include <cstdlib>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "ClientFixture.h"
#include "DltDaemon.h"

namespace {

using namespace std::chrono_literals;
using e2e::kLimit;

enum class Deed { Unsubscribe, Stop, Destroy, Throw, Block, Subscribe };

struct DeedText {
    Deed deed;
    const char* name;
};

constexpr DeedText kDeeds[] = {{Deed::Unsubscribe, "Unsubscribes"},  {Deed::Stop, "Stops"},
                               {Deed::Destroy, "DestroysTheClient"}, {Deed::Throw, "Throws"},
                               {Deed::Block, "BlocksForSeconds"},    {Deed::Subscribe, "Subscribes"}};
constexpr const char* kWords[] = {"connected", "disconnected", "notification", "on"};

struct Case {
    DeedText deed;
    std::string word;  ///< names the callback that does it
};

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const DeedText& deed : kDeeds) {
        for (const char* const word : kWords) {
            cases.push_back({deed, word});
        }
    }
    return cases;
}

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    std::string word = info.param.word == "on" ? "state" : info.param.word;
    word[0] = static_cast<char>(std::toupper(word[0]));
    return info.param.deed.name + std::string("WhenTold") + word;
}

void PrintTo(const Case& one, std::ostream* stream) {
    *stream << one.deed.name << " in " << one.word;
}

class InsideACallback : public e2e::ClientFixture, public testing::WithParamInterface<Case> {
 protected:
    static Deed deed() { return GetParam().deed.deed; }

    // Does the deed in the first call of the callback.
    void reactOnce() {
        application.react([this, isDone = std::make_shared<bool>(false)](const std::string& word) {
            if (word == GetParam().word && !std::exchange(*isDone, true)) {
                doIt();
            }
        });
    }

    void doIt() {
        switch (deed()) {
            case Deed::Unsubscribe:
                client->UnsubscribeClampControl("1");
                break;
            case Deed::Stop:
                client->Stop();
                break;
            case Deed::Destroy:
                client.reset();
                break;
            case Deed::Throw:
                isDone_.set_value();
                throw std::runtime_error("the application's own");
            case Deed::Block:
                std::this_thread::sleep_for(2s);
                break;
            case Deed::Subscribe: {
                const auto begin = std::chrono::steady_clock::now();
                EXPECT_EQ(client->SubscribeClampControl(), "");
                EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s) << "it waited for itself";
                break;
            }
        }
        isDone_.set_value();
    }

    // Waits for the callback that does the deed.
    void provoke() {
        const std::string& word = GetParam().word;
        if (word == "connected") {
            reactOnce();
            connectClient();
        } else {
            subscribeClient();
            reactOnce();
            if (word == "disconnected") {
                bus.dropConnections("ClampControl");
            } else {
                setClamp15(true);
            }
            while (true) {
                const auto told = application.next();
                ASSERT_TRUE(told);
                if (*told == word) {
                    break;
                }
            }
        }
        ASSERT_EQ(isDone_.get_future().wait_for(kLimit), std::future_status::ready) << "it hangs";
    }

    std::promise<void> isDone_;
};

TEST_P(InsideACallback, DoesWhatItIsFor) {
    const bool isLast = deed() == Deed::Stop || deed() == Deed::Destroy;
    provoke();
    const std::string& word = GetParam().word;
    if (isLast) {
        // The callback is not called any more, whatever happens.
        bus.setServiceAvailable("ClampControl", false);
        bus.setServiceAvailable("ClampControl", true);
        setClamp15(true);
        EXPECT_EQ(application.next(300ms), std::nullopt);
        return;
    }
    if (deed() == Deed::Unsubscribe && (word == "notification" || word == "on")) {
        EXPECT_EQ(application.next(200ms), std::nullopt) << "it has unsubscribed";
    } else if (word == "notification" && deed() != Deed::Throw) {  // a throw ends that notification
        EXPECT_EQ(application.next(), "on");
    } else if (word == "disconnected") {
        EXPECT_EQ(application.next(), "connected");
    }
    // The client is as usable as before.
    EXPECT_EQ(client->SubscribeClampControl(), "1");
    setClamp15(false);
    while (application.next(200ms)) {
    }
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
    client->Stop();
}

INSTANTIATE_TEST_SUITE_P(Application, InsideACallback, testing::ValuesIn(allCases()), nameOf);

using Reentrancy = e2e::ClientFixture;

TEST_F(Reentrancy, ASubscribeInsideACallbackIsRefusedWithALineInTheLog) {
    test_support::DltDaemon daemon;
    setenv("DLT_PIPE_DIR", daemon.pipeDirectory().c_str(), 1);
    csc_logging::CSCLogging::InitLogging("REEN");
    std::promise<void> isDone;
    application.react([&](const std::string&) {
        client->SubscribeClampControl();
        isDone.set_value();
    });
    startClient();
    isDone.get_future().wait();
    EXPECT_TRUE(daemon.receives("Clamp Control Client: SubscribeClampControl called from inside a callback"));
    client->Stop();
}

}  // namespace
