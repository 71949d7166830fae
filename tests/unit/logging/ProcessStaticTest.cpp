// A static of the library while the process ends, each time in a process of its own.

#include <ChildProcess.h>
#include <ProcessStatic.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

namespace {

using test_support::ChildResult;
using test_support::runInChild;
using testing::HasSubstr;
using testing::Not;

void say(const char* text) {
    std::printf("%s\n", text);
    std::fflush(stdout);
}

struct Talker {
    Talker() { say("made"); }
    ~Talker() { say("destroyed"); }
    Talker(const Talker&) = delete;
    Talker& operator=(const Talker&) = delete;
    void use() const { say("used"); }
    void end() const { say("end"); }
};

using Sut = csc_logging::ProcessStatic<Talker>;

void sayWhetherUsed() {
    if (!Sut::with([](Talker& talker) { talker.use(); })) {
        say("refused");
    }
}

TEST(ProcessStatic, IsMadeByItsFirstUseAndDestroyedAtExit) {
    const ChildResult result = runInChild([] {
        say("begin");
        sayWhetherUsed();
        sayWhetherUsed();
    });
    EXPECT_EQ(result.output, "begin\nmade\nused\nused\nend\ndestroyed\n") << result.errors;
}

TEST(ProcessStatic, IsNotMadeWithoutAUse) {
    const ChildResult result = runInChild([] { say("nothing"); });
    EXPECT_EQ(result.output, "nothing\n") << result.errors;
}

TEST(ProcessStatic, CanBeUsedByStaticsThatWereMadeAfterIt) {
    struct UsesItAtTheEnd {
        ~UsesItAtTheEnd() { sayWhetherUsed(); }
    };
    const ChildResult result = runInChild([] {
        Sut::make();
        static const UsesItAtTheEnd user;
    });
    EXPECT_EQ(result.output, "made\nused\nend\ndestroyed\n") << result.errors;
}

TEST(ProcessStatic, RefusesAUseAfterItsEnd) {
    const ChildResult result = runInChild([] {
        std::atexit([] { sayWhetherUsed(); });
        Sut::make();
    });
    EXPECT_EQ(result.output, "made\nend\ndestroyed\nrefused\n") << result.errors;
}

TEST(ProcessStatic, RefusesAUseOnceItsEndHasBegun) {
    struct UsedInItsEnd {
        void end() const {
            const bool used = csc_logging::ProcessStatic<UsedInItsEnd>::with([](UsedInItsEnd&) {});
            say(used ? "used" : "refused");
        }
    };
    const ChildResult result = runInChild([] { csc_logging::ProcessStatic<UsedInItsEnd>::make(); });
    EXPECT_EQ(result.output, "refused\n") << result.errors;
}

/// Held by a visitor that ends its visit when the object's end has begun.
struct Awaited {
    std::promise<void> endHasBegun;
    void end() { endHasBegun.set_value(); }
    ~Awaited() { say("destroyed"); }
};

TEST(ProcessStatic, IsDestroyedAfterTheVisitUnderWay) {
    using Static = csc_logging::ProcessStatic<Awaited>;
    const ChildResult result = runInChild([] {
        static auto& inside = *new std::promise<void>();
        std::thread([] {
            Static::with([](Awaited& awaited) {
                inside.set_value();
                awaited.endHasBegun.get_future().wait();
                say("visit over");
            });
        }).detach();
        inside.get_future().wait();
    });
    EXPECT_EQ(result.output, "visit over\ndestroyed\n") << result.errors;
}

TEST(ProcessStatic, IsLeftToAVisitThatTakesTooLong) {
    const ChildResult result = runInChild([] {
        static auto& inside = *new std::promise<void>();
        std::thread([] {
            Sut::with([](Talker&) {
                inside.set_value();
                std::promise<void>().get_future().wait();
            });
        }).detach();
        inside.get_future().wait();
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("end\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("destroyed")));
}

}  // namespace
