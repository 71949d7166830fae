#include <ChildProcess.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <internal/StandardStreams.h>
#include <unistd.h>

#include <cstdlib>

namespace {

using internal::openClosedStandardStreams;
using test_support::runInChild;

TEST(StandardStreams, LeaveNoNumberToTheNextFile) {
    const auto result = runInChild([] {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        openClosedStandardStreams();
        std::_Exit(::open("/dev/null", O_RDONLY) > STDERR_FILENO ? 0 : 1);
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(StandardStreams, FailWhenTheyAreUsedAlthoughTheyWereClosed) {
    const auto result = runInChild([] {
        char character = 'x';
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        openClosedStandardStreams();
        std::_Exit(::read(STDIN_FILENO, &character, 1) < 0 && ::write(STDOUT_FILENO, &character, 1) < 0 ? 0
                                                                                                        : 1);
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(StandardStreams, StayWhenTheyAreOpen) {
    const auto result = runInChild([] {
        openClosedStandardStreams();
        std::_Exit(::write(STDOUT_FILENO, "here", 4) == 4 ? 0 : 1);
    });
    EXPECT_EQ(result.output, "here");
}

}  // namespace
