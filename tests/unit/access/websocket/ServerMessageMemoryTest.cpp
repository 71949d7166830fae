#include <CountedMemory.h>
#include <gtest/gtest.h>

#include <string>

#include "websocket/ServerMessage.h"

namespace {

std::string messageOf(const std::string& member) {
    std::string text = "{";
    for (int count = 0; count < 1000; ++count) {
        text += member + ",";
    }
    return text + "\"seq\":1}";
}

TEST(ServerMessageMemory, IsNotTakenForWhatNobodyAsksFor) {
    const std::string text = messageOf(R"("\n":"\u0041")");
    const test_support::CountedMemory memory;
    EXPECT_EQ(zeb::ServerMessage::read(text).seq, 1);
    EXPECT_EQ(memory.allocations(), 0U);
}

TEST(ServerMessageMemory, IsTakenForTheLastOfARepeatedKeyOnly) {
    const std::string text = messageOf(R"("\u0061ction":"\u0041")");
    const test_support::CountedMemory memory;
    EXPECT_EQ(zeb::ServerMessage::read(text).action, "A");
    EXPECT_LT(memory.allocations(), 10U);
}

}  // namespace
