#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "http/HttpAnswer.h"

namespace {

using namespace std::string_literals;
using zebutil::HttpAnswer;

constexpr std::size_t kLargestBody = 1024;
const std::string kOk = "HTTP/1.1 200 OK\r\n";
constexpr const char* kTrailersTooLarge =
    "the answer's header and trailers, or a line of its chunks, are larger than 64 KiB";

// What became of the bytes of a server, which has closed the connection after them if `isClosed`.
struct Reading {
    bool isComplete = false;
    bool isKept = false;
    int status = 0;
    std::string body;
    std::string behind;
    std::string refusal;
};

Reading read(std::string_view bytes, bool isClosed = true, std::size_t pieceSize = 4096) {
    HttpAnswer answer(kLargestBody);
    Reading reading;
    try {
        while (!bytes.empty() && !answer.isComplete()) {
            reading.behind.append(bytes.substr(0, pieceSize));
            bytes.remove_prefix(std::min(pieceSize, bytes.size()));
            reading.behind.erase(0, answer.read(reading.behind));
        }
        reading.behind.append(bytes);
        if (!answer.isComplete() && isClosed) {
            answer.end();
        }
    } catch (const std::runtime_error& refusal) {
        reading.refusal = refusal.what();
        return reading;
    }
    reading.isComplete = answer.isComplete();
    if (reading.isComplete) {
        reading.isKept = answer.isKeptAlive();
        reading.status = answer.status();
        reading.body = answer.takeBody();
    }
    return reading;
}

// ---------------------------------------------------------------------------------------- good answers

struct Good {
    const char* name;
    std::string bytes;
    int status;
    std::string body;
    bool isKept = true;
    std::string behind = {};
};

void PrintTo(const Good& answer, std::ostream* stream) {
    *stream << answer.name;
}

class HttpAnswerOf : public testing::TestWithParam<Good> {};

TEST_P(HttpAnswerOf, IsRead) {
    const Reading reading = read(GetParam().bytes);
    EXPECT_EQ(reading.refusal, "");
    EXPECT_EQ(reading.status, GetParam().status);
    EXPECT_EQ(reading.body, GetParam().body);
    EXPECT_EQ(reading.isKept, GetParam().isKept);
    EXPECT_EQ(reading.behind, GetParam().behind);
}

TEST_P(HttpAnswerOf, IsReadByteByByteToo) {
    const Reading reading = read(GetParam().bytes, true, 1);
    EXPECT_EQ(reading.refusal, "");
    EXPECT_EQ(reading.status, GetParam().status);
    EXPECT_EQ(reading.body, GetParam().body);
    EXPECT_EQ(reading.behind, GetParam().behind);
}

INSTANTIATE_TEST_SUITE_P(
    Servers, HttpAnswerOf,
    testing::Values(
        Good{"Length", kOk + "Content-Length: 2\r\n\r\n{}", 200, "{}"},
        Good{"Chunks", kOk + "Transfer-Encoding: Chunked\r\n\r\n1;a=b\r\n{\r\n01\r\n}\r\n0\r\nX: y\r\n\r\n",
             200, "{}"},
        Good{"TheEndOfTheConnection", kOk + "\r\n{}", 200, "{}", false},
        Good{"NoBody", "HTTP/1.1 204 No Content\r\n\r\n", 204, ""},
        Good{"NotModified", "HTTP/1.1 304 Not Modified\r\nContent-Length: 100\r\n\r\n", 304, ""},
        Good{"LengthZero", kOk + "Content-Length: 0\r\n\r\n", 200, ""},
        Good{"TheSameLengthTwice", kOk + "Content-Length: 2\r\nContent-Length: 2\r\n\r\n{}", 200, "{}"},
        Good{"Close", kOk + "Connection: Close\r\nContent-Length: 2\r\n\r\n{}", 200, "{}", false},
        Good{"TheOldVersion", "HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nContent-Length: 2\r\n\r\n{}", 200,
             "{}", false},
        Good{"Continue", "HTTP/1.1 100 Continue\r\n\r\n" + kOk + "Content-Length: 2\r\n\r\n{}", 200, "{}"},
        Good{"SeveralInterimAnswers",
             "HTTP/1.1 102 Processing\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: <a>\r\n\r\nHTTP/1.1 199 "
             "\r\n\r\n" +
                 kOk + "Content-Length: 2\r\n\r\n{}",
             200, "{}"},
        Good{"AnInterimAnswerWithALength",
             "HTTP/1.1 103 Early Hints\r\nContent-Length: 5\r\n\r\n" + kOk + "Content-Length: 2\r\n\r\n{}",
             200, "{}"},
        Good{"AnUnknownStatus", "HTTP/1.1 799 ?\r\nContent-Length: 0\r\n\r\n", 799, ""},
        Good{"ARedirect", "HTTP/1.1 301 Moved\r\nLocation: http://elsewhere/\r\nContent-Length: 0\r\n\r\n",
             301, ""},
        Good{"AFoldedHeader", kOk + "X: a\r\n  b\r\nContent-Length: 2\r\n\r\n{}", 200, "{}"},
        Good{"MoreThanTheAnswer", kOk + "Content-Length: 2\r\n\r\n{}" + kOk, 200, "{}", true, kOk},
        Good{"MoreThanAnAnswerWithoutBody", "HTTP/1.1 204 No Content\r\nContent-Length: 2\r\n\r\n{}", 204, "",
             true, "{}"},
        Good{"MoreThanTheChunks", kOk + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\nx", 200, "", true, "x"}),
    [](const auto& testCase) { return testCase.param.name; });

// ---------------------------------------------------------------------------------------- bad answers

struct Bad {
    const char* name;
    std::string bytes;
    std::string reason;
};

void PrintTo(const Bad& answer, std::ostream* stream) {
    *stream << answer.name;
}

class HttpAnswerWith : public testing::TestWithParam<Bad> {};

TEST_P(HttpAnswerWith, IsRefused) {
    EXPECT_NE(read(GetParam().bytes).refusal.find(GetParam().reason), std::string::npos)
        << "refused with: " << read(GetParam().bytes).refusal;
}

TEST_P(HttpAnswerWith, IsNoAnswerByteByByteEither) {
    EXPECT_FALSE(read(GetParam().bytes, true, 1).isComplete);
}

const std::string kNotHttp = "is not valid HTTP";
const std::string kWithin = "ended within the answer";

INSTANTIATE_TEST_SUITE_P(
    Faults, HttpAnswerWith,
    testing::Values(
        Bad{"AnotherProtocol", "SSH-2.0-OpenSSH\r\n\r\n", kNotHttp},
        Bad{"AnotherVersion", "HTTP/2.0 200 OK\r\n\r\n", kNotHttp},
        Bad{"AShortStatus", "HTTP/1.1 20 OK\r\n\r\n", kNotHttp},
        Bad{"AStatusBelow100", "HTTP/1.1 099 OK\r\nContent-Length: 0\r\n\r\n", kNotHttp},
        Bad{"AStatusThatIsNoNumber", "HTTP/1.1 2x0 OK\r\n\r\n", kNotHttp},
        Bad{"SwitchingProtocols", "HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\n\r\n",
            "another protocol"},
        Bad{"LengthAndChunks", kOk + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            kNotHttp},
        Bad{"ChunksAndLength", kOk + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n0\r\n\r\n",
            kNotHttp},
        Bad{"TwoLengths", kOk + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{} ", kNotHttp},
        Bad{"TwoLengthsInOneLine", kOk + "Content-Length: 2, 3\r\n\r\n{} ", kNotHttp},
        Bad{"ANegativeLength", kOk + "Content-Length: -1\r\n\r\n{}", kNotHttp},
        Bad{"ASignedLength", kOk + "Content-Length: +2\r\n\r\n{}", kNotHttp},
        Bad{"AHexadecimalLength", kOk + "Content-Length: 0x2\r\n\r\n{}", kNotHttp},
        Bad{"ALengthWithText", kOk + "Content-Length: 2a\r\n\r\n{}", kNotHttp},
        Bad{"ALengthThatOverflows", kOk + "Content-Length: 18446744073709551618\r\n\r\n{}", kNotHttp},
        Bad{"AnEmptyLength", kOk + "Content-Length: \r\n\r\n{}", kNotHttp},
        Bad{"AFoldedLength", kOk + "Content-Length: 1\r\n 1\r\n\r\n{}         ", kNotHttp},
        Bad{"Gzip", kOk + "Transfer-Encoding: gzip\r\n\r\n{}", "transfer encoding"},
        Bad{"GzipInChunks", kOk + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", "transfer encoding"},
        Bad{"Identity", kOk + "Transfer-Encoding: identity\r\n\r\n{}", "transfer encoding"},
        Bad{"ChunksTwice", kOk + "Transfer-Encoding: chunked, chunked\r\n\r\n0\r\n\r\n", "transfer encoding"},
        Bad{"ChunksInTwoLines",
            kOk + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", kNotHttp},
        Bad{"ChunksThatOneMayNotSee", kOk + "Transfer-Encoding: xchunked\r\n\r\n0\r\n\r\n",
            "transfer encoding"},
        Bad{"ChunksInTheOldVersion", "HTTP/1.0 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            "transfer encoding"},
        Bad{"AChunkSizeWithText", kOk + "Transfer-Encoding: chunked\r\n\r\n2x\r\n{}\r\n0\r\n\r\n", kNotHttp},
        Bad{"AChunkSizeWithAPrefix", kOk + "Transfer-Encoding: chunked\r\n\r\n0x2\r\n{}\r\n0\r\n\r\n",
            kNotHttp},
        Bad{"ANegativeChunkSize", kOk + "Transfer-Encoding: chunked\r\n\r\n-2\r\n{}\r\n0\r\n\r\n", kNotHttp},
        Bad{"AnEmptyChunkSize", kOk + "Transfer-Encoding: chunked\r\n\r\n\r\n{}\r\n0\r\n\r\n", kNotHttp},
        Bad{"AChunkSizeThatOverflows",
            kOk + "Transfer-Encoding: chunked\r\n\r\n10000000000000002\r\n{}\r\n0\r\n\r\n", kNotHttp},
        Bad{"AChunkThatIsTooLong", kOk + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}x\r\n0\r\n\r\n", kNotHttp},
        Bad{"NoLastChunk", kOk + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n", kWithin},
        Bad{"NoEndOfTheLastChunk", kOk + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n", kWithin},
        Bad{"ALengthInTheTrailer", kOk + "Transfer-Encoding: chunked\r\n\r\n0\r\nContent-Length: 5\r\n\r\n",
            kNotHttp},
        Bad{"LessThanItsLength", kOk + "Content-Length: 20\r\n\r\n{}", kWithin},
        Bad{"NothingButInterimAnswers", "HTTP/1.1 100 Continue\r\n\r\n", kWithin},
        Bad{"NoEndOfTheHeader", kOk + "Content-Length: 2\r\n", kWithin},
        Bad{"BareLineFeeds", "HTTP/1.1 200 OK\nContent-Length: 2\n\n{}", kNotHttp},
        Bad{"ABareLineFeedInAHeader", kOk + "X: a\nContent-Length: 2\r\n\r\n{}", kNotHttp},
        Bad{"ANulInAHeader", kOk + "X: a\0b\r\nContent-Length: 2\r\n\r\n{}"s, kNotHttp},
        Bad{"ANulInAName", kOk + "X\0: a\r\nContent-Length: 2\r\n\r\n{}"s, kNotHttp},
        Bad{"ASpaceBeforeTheColon", kOk + "Content-Length : 2\r\n\r\n{}", kNotHttp},
        Bad{"NoColon", kOk + "Content-Length 2\r\n\r\n{}", kNotHttp},
        Bad{"ALengthBeyondTheLimit", kOk + "Content-Length: 1025\r\n\r\n", "larger than 1 KiB"},
        Bad{"AChunkBeyondTheLimit", kOk + "Transfer-Encoding: chunked\r\n\r\n401\r\n", "larger than 1 KiB"},
        Bad{"ManyChunksBeyondTheLimit",
            kOk + "Transfer-Encoding: chunked\r\n\r\n400\r\n" + std::string(1024, 'x') + "\r\n1\r\nx\r\n",
            "larger than 1 KiB"},
        Bad{"ABodyWithoutLengthBeyondTheLimit", kOk + "\r\n" + std::string(1025, 'x'), "larger than 1 KiB"}),
    [](const auto& testCase) { return testCase.param.name; });

// ---------------------------------------------------------------------------------------- ceilings

TEST(HttpAnswer, TakesABodyOfExactlyItsLimit) {
    EXPECT_EQ(read(kOk + "Content-Length: 1024\r\n\r\n" + std::string(1024, 'x')).body.size(), 1024U);
    EXPECT_EQ(read(kOk + "\r\n" + std::string(1024, 'x')).body.size(), 1024U);
}

TEST(HttpAnswer, RefusesAHeaderLineWithoutEnd) {
    const Reading reading = read(kOk + "X: " + std::string(100'000, 'x'), false);
    EXPECT_EQ(reading.refusal, "the answer's header is larger than 64 KiB");
}

TEST(HttpAnswer, RefusesAStatusLineWithoutEnd) {
    const Reading reading = read("HTTP/1.1 200 " + std::string(100'000, 'x'), false);
    EXPECT_EQ(reading.refusal, "the answer's header is larger than 64 KiB");
}

// Each line arrives alone.
TEST(HttpAnswer, RefusesHeaderLinesWithoutEnd) {
    std::string bytes = "HTTP/1.1 200 OK\r\n";
    for (int line = 0; line < 10'000; ++line) {
        bytes += "X-Abcdefghijkl:\r\n";
    }
    ASSERT_EQ(bytes.size() % 17, 0U);
    EXPECT_EQ(read(bytes, false, 17).refusal, "the answer's header is larger than 64 KiB");
}

TEST(HttpAnswer, RefusesTrailersWithoutEnd) {
    std::string bytes = kOk + "Transfer-Encoding: chunked\r\n\r\n0\r\n";
    for (int line = 0; line < 10'000; ++line) {
        bytes += "X: abcdefghijkl\r\n";
    }
    EXPECT_EQ(read(bytes, false).refusal, kTrailersTooLarge);
}

TEST(HttpAnswer, RefusesAChunkExtensionWithoutEnd) {
    const Reading reading =
        read(kOk + "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(100'000, 'x'), false);
    EXPECT_EQ(reading.refusal, kTrailersTooLarge);
}

// However large the body is that has arrived before.
class HttpAnswerBehindItsBody : public testing::TestWithParam<std::pair<const char*, std::string>> {};

INSTANTIATE_TEST_SUITE_P(HttpAnswer, HttpAnswerBehindItsBody,
                         testing::Values(std::pair("ATrailer", "0\r\nX: "s),
                                         std::pair("AChunkExtension", "1;"s), std::pair("AChunkSize", "0"s)),
                         [](const auto& testCase) { return testCase.param.first; });

TEST_P(HttpAnswerBehindItsBody, HasNoLineWithoutEnd) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20U;
    HttpAnswer sut(mebibyte);
    sut.read(kOk + "Transfer-Encoding: chunked\r\n\r\n100000\r\n" + std::string(mebibyte, 'x'));
    EXPECT_THAT([&] { sut.read("\r\n" + GetParam().second + std::string(HttpAnswer::kLargestHeader, '0')); },
                testing::ThrowsMessage<std::runtime_error>(kTrailersTooLarge));
}

// What is beside the value has 24 bytes.
TEST(HttpAnswer, TakesAHeaderOfExactlyItsLimit) {
    const std::string value(HttpAnswer::kLargestHeader - 24, 'x');
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\nX: " + value + "\r\n\r\n{}").body, "{}");
}

TEST(HttpAnswer, RefusesAHeaderAboveItsLimitThoughItIsWholeAndTheBodyFollows) {
    const std::string value(HttpAnswer::kLargestHeader - 23, 'x');
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\nX: " + value + "\r\n\r\n{}").refusal,
              "the answer's header is larger than 64 KiB");
}

TEST(HttpAnswer, RefusesTrailersThatAreTooLargeTogetherWithTheHeader) {
    const std::string half(HttpAnswer::kLargestHeader / 2, 'x');
    EXPECT_EQ(read(kOk + "Transfer-Encoding: chunked\r\nX: " + half + "\r\n\r\n0\r\nX: " + half + "\r\n\r\n")
                  .refusal,
              kTrailersTooLarge);
}

TEST(HttpAnswer, RefusesSizesOfChunksThatAreMuchLargerThanTheChunks) {
    std::string bytes = kOk + "Transfer-Encoding: chunked\r\n\r\n";
    for (int chunk = 0; chunk < 100; ++chunk) {
        bytes += "1;" + std::string(1000, 'x') + "\r\nx\r\n";
    }
    EXPECT_EQ(read(bytes, false).refusal,
              "the answer has more bytes for the sizes of its chunks than in them");
}

TEST(HttpAnswer, RefusesInterimAnswersWithoutEnd) {
    std::string bytes;
    for (int answer = 0; answer < 100; ++answer) {
        bytes += "HTTP/1.1 103 Early Hints\r\n\r\n";
    }
    EXPECT_EQ(read(bytes, false).refusal, "the server has sent more than 16 interim answers");
}

TEST(HttpAnswer, RefusesInterimAnswersThatAreTooLarge) {
    std::string bytes;
    for (int answer = 0; answer < 10; ++answer) {
        bytes += "HTTP/1.1 103 Early Hints\r\nX: " + std::string(10'000, 'x') + "\r\n\r\n";
    }
    EXPECT_EQ(read(bytes, false).refusal, "the answer's header is larger than 64 KiB");
}

TEST(HttpAnswer, TakesChunksOfOneByte) {
    std::string bytes = kOk + "Transfer-Encoding: chunked\r\n\r\n";
    for (std::size_t chunk = 0; chunk < kLargestBody; ++chunk) {
        bytes += "1\r\nx\r\n";
    }
    EXPECT_EQ(read(bytes + "0\r\n\r\n").body, std::string(kLargestBody, 'x'));
}

TEST(HttpAnswer, KeepsNoMoreRoomThanForTheLargestBody) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20U;
    HttpAnswer sut(mebibyte);
    const std::string piece(4096, 'x');
    sut.read(kOk + "\r\n");
    for (std::size_t size = 0; size < mebibyte; size += piece.size()) {
        sut.read(piece);
    }
    sut.end();
    EXPECT_LE(sut.takeBody().capacity(), mebibyte + 1);
}

}  // namespace
