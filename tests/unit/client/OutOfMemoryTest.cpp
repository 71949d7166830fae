// A process has one client-service base, so every client is made in a child process.

#include <ChildProcess.h>
#include <FailingMemory.h>
#include <FakePlatform.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

using clampcontrolclient::ClampControlClient;

constexpr int kMemoryWasMissing = 7;

/// Throws what SubscribeClampControl() throws.
void useAll(ClampControlClient& sut) {
    sut.AssignCallback(nullptr);
    sut.Start();
    sut.UnsubscribeClampControl("c15");
    sut.Stop();
    sut.SubscribeClampControl();
}

/// Makes a client of which only `allocations` succeed, uses it with all memory, and ends this process.
[[noreturn]] void makeAndUse(long allocations) {
    test_data_objects::allocationsLeft = allocations;
    ClampControlClient sut;
    test_data_objects::allocationsLeft = -1;
    try {
        useAll(sut);
    } catch (const std::runtime_error& exception) {
        if (std::string(exception.what()) == "ClampControl client not ready") {
            std::exit(test_data_objects::allocationHasFailed ? kMemoryWasMissing : 0);
        }
    }
    std::exit(1);
}

TEST(ClampControlClientWithoutMemory, IsNotReadyWhereverItsConstructionFails) {
    test_support::ChildResult result;
    result.exitCode = kMemoryWasMissing;
    for (long allocations = 0; result.exitCode == kMemoryWasMissing; ++allocations) {
        result = test_support::runInChild([allocations] { makeAndUse(allocations); });
        ASSERT_EQ(result.signal, 0) << allocations << " allocations: " << result.errors;
    }
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

}  // namespace
