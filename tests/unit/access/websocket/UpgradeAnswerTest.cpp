#include <gtest/gtest.h>

#include <string>

#include "websocket/UpgradeAnswer.h"

namespace {

using State = zeb::UpgradeAnswer::State;

const std::string kAccepted = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n\r\n";

TEST(UpgradeAnswer, IsAcceptedWithStatus101) {
    zeb::UpgradeAnswer sut;
    EXPECT_EQ(sut.add(kAccepted), State::Accepted);
    EXPECT_EQ(sut.header(), kAccepted);
    EXPECT_TRUE(sut.behind().empty());
}

TEST(UpgradeAnswer, MayArriveByteByByte) {
    zeb::UpgradeAnswer sut;
    for (std::size_t position = 0; position + 1 < kAccepted.size(); ++position) {
        ASSERT_EQ(sut.add(kAccepted.substr(position, 1)), State::Incomplete) << position;
    }
    EXPECT_EQ(sut.add("\n"), State::Accepted);
}

TEST(UpgradeAnswer, KeepsWhatArrivesBehindIt) {
    zeb::UpgradeAnswer sut;
    sut.add(kAccepted + "frames");
    EXPECT_EQ(sut.header(), kAccepted);
    EXPECT_EQ(sut.behind(), "frames");
}

TEST(UpgradeAnswer, SkipsInterimAnswers) {
    zeb::UpgradeAnswer sut;
    EXPECT_EQ(sut.add("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" + kAccepted),
              State::Accepted);
    EXPECT_EQ(sut.header(), kAccepted);
}

TEST(UpgradeAnswer, IsDeclinedWithAnyOtherStatus) {
    for (const int status : {200, 301, 401, 404, 500, 999}) {
        zeb::UpgradeAnswer sut;
        EXPECT_EQ(sut.add("HTTP/1.1 " + std::to_string(status) + " x\r\n\r\nbody"), State::Declined);
        EXPECT_EQ(sut.status(), status);
    }
}

TEST(UpgradeAnswer, IsUnusableIfItIsNoHttp) {
    for (const char* const text :
         {"SSH-2.0\r\n\r\n", "HTTP/2 101\r\n\r\n", "HTTP/1.1 abc\r\n\r\n", "HTTP/1.1 99 \r\n\r\n",
          "HTTP/1.1 1010 \r\n\r\n", "HTTP/1.1\r\n\r\n", "\r\n\r\n", "\x15\x03\x01"}) {
        zeb::UpgradeAnswer sut;
        EXPECT_EQ(sut.add(text), State::Unusable) << text;
    }
}

TEST(UpgradeAnswer, IsUnusableIfItsHeaderNeverEnds) {
    zeb::UpgradeAnswer sut;
    sut.add("HTTP/1.1 101 x\r\n");
    std::size_t size = 0;
    while (sut.state() == State::Incomplete && size < 2 * zeb::UpgradeAnswer::kMaximumSize) {
        sut.add("X: xxxxx\r\n");
        size += 10;
    }
    EXPECT_EQ(sut.state(), State::Unusable);
    EXPECT_LE(size, zeb::UpgradeAnswer::kMaximumSize + 10);
}

TEST(UpgradeAnswer, IsUnusableIfItsInterimAnswersNeverEnd) {
    zeb::UpgradeAnswer sut;
    std::size_t size = 0;
    while (sut.state() == State::Incomplete && size < 2 * zeb::UpgradeAnswer::kMaximumSize) {
        sut.add("HTTP/1.1 103 \r\n\r\n");
        size += 17;
    }
    EXPECT_EQ(sut.state(), State::Unusable);
}

}  // namespace
