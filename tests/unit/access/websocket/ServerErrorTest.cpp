#include <gtest/gtest.h>

#include <string>

#include "websocket/ServerError.h"

namespace {

TEST(ServerError, SaysNumberReasonAndMessage) {
    const auto sut = zeb::ServerError::read(
        R"({"number":404,"reason":"unavailable_data","message":"There is no element \"9\" in /a/b"})");
    EXPECT_EQ(sut.text, R"(404 unavailable_data: There is no element "9" in /a/b)");
}

TEST(ServerError, LeavesOutWhatTheServerHasLeftOut) {
    EXPECT_EQ(zeb::ServerError::read(R"({"number":503})").text, "503");
    EXPECT_EQ(zeb::ServerError::read(R"({"message":"later"})").text, "later");
    EXPECT_EQ(zeb::ServerError::read(R"({"number":503,"message":"later"})").text, "503: later");
    EXPECT_EQ(zeb::ServerError::read(R"({"reason":"gone","message":null,"number":[]})").text, "gone");
}

TEST(ServerError, ShowsTheObjectIfItHasNothingThatCanBeRead) {
    EXPECT_EQ(zeb::ServerError::read(R"({"code":[5]})").text,
              R"(the server gave no reason, only {"code":[5]})");
}

TEST(ServerError, EscapesWhatTheServerSays) {
    EXPECT_EQ(zeb::ServerError::read(R"({"number":404,"message":"a\nb\u001b"})").text, R"(404: a\nb\x1b)");
}

TEST(ServerError, CutsWhatTheServerSays) {
    const std::string many(100'000, 'x');
    const auto sut = zeb::ServerError::read(R"({"number":")" + many + R"(","reason":")" + many +
                                            R"(","message":")" + many + "\"}");
    EXPECT_LE(sut.text.size(), 1000U);
    EXPECT_LE(sut.number.size(), 1000U);
}

TEST(ServerError, TellsErrorsApartByTheirNumber) {
    EXPECT_EQ(zeb::ServerError::read(R"({"number":404,"message":"at 12:01"})").number, "404");
    EXPECT_EQ(zeb::ServerError::read(R"({"message":"at 12:02"})").number, "none");
}

}  // namespace
