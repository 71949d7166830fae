#include <NamedText.h>

#include <stdexcept>

#include "SimulatorTest.h"

namespace {

using test_support::NamedText;
using test_support::nameOf;

constexpr const char* kClamp = "/ClampControl/clamps/1";

/// A request to switch the clamp on, with these headers.
std::string switchingOn(const std::string& headers) {
    return "POST /ClampControl/clamps/1 HTTP/1.1\r\n" + headers +
           "Content-Length: 21\r\n\r\n{\"isSwitchedOn\":true}";
}

class SimulatorRequestHead : public SimulatorTest, public testing::WithParamInterface<NamedText> {
 protected:
    RawHttp::Answer answer(const std::string& request) const {
        return RawHttp(sut.port()).sendBytes(request);
    }
    bool isClampOn() { return sut.element(kClamp).find("\"isSwitchedOn\":true") != std::string::npos; }
};

using SimulatorOwnHost = SimulatorRequestHead;
TEST_P(SimulatorOwnHost, IsAccepted) {
    EXPECT_EQ(answer(switchingOn("Host: " + std::string(GetParam().text) + "\r\n")).status, 200);
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, SimulatorOwnHost,
    testing::Values(NamedText{"Version4", "127.0.0.1"}, NamedText{"Version4WithPort", "127.0.0.1:8080"},
                    NamedText{"Version6", "[::1]"}, NamedText{"Version6WithPort", "[::1]:8080"},
                    NamedText{"Version6OfAnInterface", "[fe80::1%eth0]:8080"},
                    NamedText{"Localhost", "localhost"}, NamedText{"LocalhostInCapitals", "LOCALHOST:8080"}),
    nameOf);

using SimulatorForeignHost = SimulatorRequestHead;
TEST_P(SimulatorForeignHost, SwitchesNothing) {
    const RawHttp::Answer refused = answer(switchingOn("Host: " + std::string(GetParam().text) + "\r\n"));
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.reason(), "forbidden");
    EXPECT_FALSE(isClampOn());
}

INSTANTIATE_TEST_SUITE_P(Hosts, SimulatorForeignHost,
                         testing::Values(NamedText{"Name", "evil.example"},
                                         NamedText{"NameWithPort", "evil.example:8080"},
                                         NamedText{"NameThatBeginsWithLocalhost", "localhost.evil.example"},
                                         NamedText{"NameThatEndsInLocalhost", "evil.localhost"},
                                         NamedText{"NameThatBeginsWithAnAddress", "127.0.0.1.evil.example"},
                                         NamedText{"ShortAddress", "127.1"},
                                         NamedText{"AddressAsANumber", "2130706433"},
                                         NamedText{"NoVersion6", "[evil]"}),
                         nameOf);

using SimulatorForeignOrigin = SimulatorRequestHead;
TEST_P(SimulatorForeignOrigin, SwitchesNothing) {
    const RawHttp::Answer refused =
        answer(switchingOn("Host: localhost:8080\r\nOrigin: " + std::string(GetParam().text) + "\r\n"));
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.reason(), "forbidden");
    EXPECT_FALSE(isClampOn());
}

TEST_P(SimulatorForeignOrigin, OpensNoWebSocket) {
    const RawHttp::Answer refused = answer(
        "GET /ClampControl HTTP/1.1\r\nHost: localhost:8080\r\nOrigin: " + std::string(GetParam().text) +
        "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
        "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Protocol: zeb.v1\r\n\r\n");
    EXPECT_EQ(refused.status, 403);
}

INSTANTIATE_TEST_SUITE_P(Origins, SimulatorForeignOrigin,
                         testing::Values(NamedText{"Name", "http://evil.example"}, NamedText{"Null", "null"},
                                         NamedText{"Empty", ""},
                                         NamedText{"OtherPort", "http://localhost:9090"},
                                         NamedText{"NoPort", "http://localhost"},
                                         NamedText{"OtherScheme", "https://localhost:8080"},
                                         NamedText{"OtherNameOfThisMachine", "http://127.0.0.1:8080"},
                                         NamedText{"File", "file://"},
                                         NamedText{"Two", "http://localhost:8080 http://evil.example"}),
                         nameOf);

TEST_F(SimulatorRequestHead, AcceptsItsOwnOrigin) {
    EXPECT_EQ(answer(switchingOn("Host: localhost:8080\r\nOrigin: http://localhost:8080\r\n")).status, 200);
}

TEST_F(SimulatorRequestHead, TakesTheSchemesOwnPortForThePortOfAnOrigin) {
    EXPECT_EQ(answer(switchingOn("Host: localhost:80\r\nOrigin: http://localhost\r\n")).status, 200);
}

TEST_F(SimulatorRequestHead, RefusesAForeignOriginBesideItsOwn) {
    EXPECT_EQ(answer(switchingOn("Host: localhost:8080\r\nOrigin: http://localhost:8080\r\n"
                                 "Origin: http://evil.example\r\n"))
                  .status,
              403);
}

TEST_F(SimulatorRequestHead, RefusesAForeignHostInTheTarget) {
    EXPECT_EQ(
        answer("GET http://evil.example/ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n").status,
        403);
}

TEST_F(SimulatorRequestHead, RefusesAForeignHostBeforeAFaultAnswers) {
    sut.answerHttp("/", 200, "{}");
    EXPECT_EQ(answer(switchingOn("Host: evil.example\r\n")).status, 403);
}

TEST(SimulatorWithAHostName, AnswersToIt) {
    zebbussim::BusSimulator::Options options;
    options.hostNames = {"bus.example"};
    zebbussim::BusSimulator sut(options);
    sut.start();
    EXPECT_EQ(RawHttp(sut.port()).sendBytes("GET /A HTTP/1.1\r\nHost: Bus.example:80\r\n\r\n").status, 404);
}

TEST(SimulatorWithAHostName, RefusesOneThatNoRequestCanHave) {
    for (const char* const name : {"", "foo:80", "http://foo"}) {
        zebbussim::BusSimulator::Options options;
        options.hostNames = {name};
        EXPECT_THROW(zebbussim::BusSimulator{options}, std::invalid_argument) << name;
    }
}

TEST_F(SimulatorRequestHead, NeedsNoHostInVersion10) {
    EXPECT_EQ(answer("GET /ClampControl/clamps/1 HTTP/1.0\r\n\r\n").status, 200);
}

using SimulatorUnclearRequest = SimulatorRequestHead;
TEST_P(SimulatorUnclearRequest, IsAnsweredWith400AndTheEndOfTheConnection) {
    const RawHttp::Answer refused = answer(GetParam().text);
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.reason(), "bad_request");
    EXPECT_FALSE(refused.keepAlive);
    EXPECT_FALSE(isClampOn());
}

#define POST_CLAMP "POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n"
#define SWITCH_ON "{\"isSwitchedOn\":true}"
#define CHUNK "15\r\n" SWITCH_ON "\r\n0\r\n\r\n"
INSTANTIATE_TEST_SUITE_P(
    Requests, SimulatorUnclearRequest,
    testing::Values(
        NamedText{"NoHost", "POST /ClampControl/clamps/1 HTTP/1.1\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"TwoHosts", POST_CLAMP "Host: localhost\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"TwoHostsInVersion10",
                  "GET / HTTP/1.0\r\nHost: localhost\r\nHost: localhost\r\nContent-Length: 0\r\n\r\n"},
        NamedText{"EmptyHost",
                  "POST /ClampControl/clamps/1 HTTP/1.1\r\nHost:\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"HostWithUser", "GET / HTTP/1.1\r\nHost: localhost@evil.example\r\n\r\n"},
        NamedText{"HostWithAPortThatIsNoNumber", "GET / HTTP/1.1\r\nHost: localhost:http\r\n\r\n"},
        NamedText{"TwoHostsInOne", "GET / HTTP/1.1\r\nHost: localhost, evil.example\r\n\r\n"},
        NamedText{"TwoLengths", POST_CLAMP "Content-Length: 21\r\nContent-Length: 20\r\n\r\n" SWITCH_ON},
        NamedText{"TheSameLengthTwice",
                  POST_CLAMP "Content-Length: 21\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"TwoLengthsInOne", POST_CLAMP "Content-Length: 21, 21\r\n\r\n" SWITCH_ON},
        NamedText{"LengthWithASign", POST_CLAMP "Content-Length: +21\r\n\r\n" SWITCH_ON},
        NamedText{"NegativeLength", POST_CLAMP "Content-Length: -21\r\n\r\n" SWITCH_ON},
        NamedText{"EmptyLength", POST_CLAMP "Content-Length:\r\n\r\n" SWITCH_ON},
        NamedText{"LengthBeforeChunked",
                  POST_CLAMP "Content-Length: 21\r\nTransfer-Encoding: chunked\r\n\r\n" CHUNK},
        NamedText{"ChunkedBeforeLength",
                  POST_CLAMP "Transfer-Encoding: chunked\r\nContent-Length: 21\r\n\r\n" CHUNK},
        NamedText{"Gzip", POST_CLAMP "Transfer-Encoding: gzip\r\n\r\n" CHUNK},
        NamedText{"GzipWithLength",
                  POST_CLAMP "Transfer-Encoding: gzip\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"GzipThenChunked", POST_CLAMP "Transfer-Encoding: gzip, chunked\r\n\r\n" CHUNK},
        NamedText{"ChunkedThenGzip", POST_CLAMP "Transfer-Encoding: chunked, gzip\r\n\r\n" CHUNK},
        NamedText{"Identity", POST_CLAMP "Transfer-Encoding: identity\r\n\r\n" CHUNK},
        NamedText{"ChunkedTwice",
                  POST_CLAMP "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n" CHUNK},
        NamedText{"ChunkedWithAParameter", POST_CLAMP "Transfer-Encoding: chunked;q=1\r\n\r\n" CHUNK},
        NamedText{"EmptyTransferEncoding", POST_CLAMP "Transfer-Encoding:\r\n\r\n" CHUNK},
        NamedText{"ChunkedInVersion10",
                  "POST /ClampControl/clamps/1 HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n" CHUNK},
        NamedText{"FoldedHeader", POST_CLAMP "X: a\r\n b\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"FoldedTransferEncoding", POST_CLAMP "Transfer-Encoding:\r\n chunked\r\n\r\n" CHUNK},
        NamedText{"BlankBeforeTheColon", POST_CLAMP "Content-Length : 21\r\n\r\n" SWITCH_ON},
        NamedText{"BlankBeforeAName", "GET / HTTP/1.1\r\n Host: localhost\r\n\r\n"},
        NamedText{"LineFeedAlone", "GET / HTTP/1.1\nHost: localhost\n\n\r\n\r\n"},
        NamedText{"LineFeedAloneInAHeader", POST_CLAMP "X: a\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"CarriageReturnInAHeader", POST_CLAMP "X: a\rb\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"BackspaceInAHeader", POST_CLAMP "X: a\bb\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"HeaderWithoutColon", POST_CLAMP "Nothing\r\nContent-Length: 21\r\n\r\n" SWITCH_ON},
        NamedText{"ChunkWithoutSize",
                  POST_CLAMP "Transfer-Encoding: chunked\r\n\r\nx\r\n" SWITCH_ON "\r\n0\r\n\r\n"},
        NamedText{"ChunkWithASign",
                  POST_CLAMP "Transfer-Encoding: chunked\r\n\r\n+15\r\n" SWITCH_ON "\r\n0\r\n\r\n"},
        NamedText{"ChunkWithLineFeedAlone",
                  POST_CLAMP "Transfer-Encoding: chunked\r\n\r\n15\n" SWITCH_ON "\n0\n\n\r\n\r\n"},
        NamedText{"ChunkThatIsTooLong",
                  POST_CLAMP "Transfer-Encoding: chunked\r\n\r\n15\r\n" SWITCH_ON "x\r\n0\r\n\r\n"},
        NamedText{"LineFeedInAnExtensionOfAChunk",
                  POST_CLAMP "Transfer-Encoding: chunked\r\n\r\n15;a=\"\n\"\r\n" SWITCH_ON "\r\n0\r\n\r\n"},
        NamedText{"RequestInAnExtensionOfAChunk", POST_CLAMP
                  "Transfer-Encoding: chunked\r\n\r\n15;a=\"0\n\nGET / HTTP/1.1\n\n\"\r\n" SWITCH_ON
                  "\r\n0\r\n\r\n"},
        NamedText{"EscapeInAnExtensionOfTheLastChunk",
                  POST_CLAMP "Transfer-Encoding: chunked\r\n\r\n15\r\n" SWITCH_ON "\r\n0;a=\"\x1b\"\r\n\r\n"},
        NamedText{"HeaderBehindTheBody",
                  POST_CLAMP "Transfer-Encoding: chunked\r\n\r\n15\r\n" SWITCH_ON "\r\n0\r\nX: a\r\n\r\n"},
        NamedText{"FoldedHeaderBehindTheBody", POST_CLAMP "Transfer-Encoding: chunked\r\n\r\n15\r\n" SWITCH_ON
                                                          "\r\n0\r\nX: a\r\n b\r\n\r\n"}),
    nameOf);
#undef POST_CLAMP
#undef SWITCH_ON
#undef CHUNK

TEST_F(SimulatorRequestHead, RefusesANulInAHeader) {
    using namespace std::string_literals;
    EXPECT_EQ(answer("GET / HTTP/1.1\r\nHost: localhost\r\nX: a\0b\r\n\r\n"s).status, 400);
}

TEST_F(SimulatorRequestHead, RefusesAnEndlessExtensionOfAChunk) {
    EXPECT_EQ(answer("POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: "
                     "chunked\r\n\r\n1;" +
                     std::string(20000, 'x'))
                  .status,
              400);
}

TEST_F(SimulatorRequestHead, RefusesEndlessHeadersBehindTheBody) {
    EXPECT_EQ(
        answer("POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n"
               "2\r\n{}\r\n0\r\nX: " +
               std::string(20000, 'x'))
            .status,
        400);
}

TEST_F(SimulatorRequestHead, TakesABodyInChunks) {
    EXPECT_EQ(
        answer("POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n"
               "5;a=b\r\n{\"isS\r\n10\r\nwitchedOn\":true}\r\n0\r\n\r\n")
            .status,
        200);
    EXPECT_TRUE(isClampOn());
}

TEST_F(SimulatorRequestHead, InvitesTheBodyOfAClientThatWaitsForIt) {
    RawHttp http(sut.port());
    http.write(
        "POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n"
        "Connection: close\r\nContent-Length: 21\r\n\r\n");
    ASSERT_TRUE(http.answersWithin(kLong));
    http.write("{\"isSwitchedOn\":true}");
    const std::string answers = http.readToEnd();
    EXPECT_EQ(answers.rfind("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200", 0), 0U) << answers;
}

TEST_F(SimulatorRequestHead, InvitesNoBodyThatItRefuses) {
    EXPECT_EQ(answer("POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: evil.example\r\nExpect: 100-continue\r\n"
                     "Content-Length: 21\r\n\r\n")
                  .status,
              403);
}

TEST_F(SimulatorRequestHead, FindsNoPathInTheFragmentOfATarget) {
    EXPECT_EQ(
        answer("GET http://localhost#/ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n").status,
        404);
}

TEST_F(SimulatorRequestHead, AnswersPipelinedRequestsInTheirOrder) {
    RawHttp http(sut.port());
    http.write(switchingOn("Host: localhost\r\n") + switchingOn("Host: localhost\r\nConnection: close\r\n"));
    const std::string answers = http.readToEnd();
    const std::size_t second = answers.find("HTTP/1.1 200", 1);
    EXPECT_EQ(answers.rfind("HTTP/1.1 200", 0), 0U);
    EXPECT_NE(second, std::string::npos);
}

class SimulatorHandshake : public SimulatorTest, public testing::WithParamInterface<NamedText> {
 protected:
    RawHttp::Answer answer(int status) const {
        const RawHttp::Answer refused =
            RawHttp(sut.port())
                .sendBytes(
                    std::string("GET /ClampControl HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\n"
                                "Upgrade: websocket\r\nSec-WebSocket-Protocol: zeb.v1\r\n") +
                    GetParam().text + "\r\n");
        EXPECT_EQ(refused.status, status);
        EXPECT_EQ(refused.errorNumber(), status);
        return refused;
    }
};

#define KEY "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
#define VERSION "Sec-WebSocket-Version: 13\r\n"
using SimulatorHandshakeWithAWrongKey = SimulatorHandshake;
TEST_P(SimulatorHandshakeWithAWrongKey, IsAnsweredWithAnErrorObject) {
    EXPECT_EQ(answer(400).reason(), "bad_request");
}

INSTANTIATE_TEST_SUITE_P(
    Keys, SimulatorHandshakeWithAWrongKey,
    testing::Values(NamedText{"None", VERSION}, NamedText{"Empty", VERSION "Sec-WebSocket-Key:\r\n"},
                    NamedText{"Two", VERSION KEY KEY},
                    NamedText{"TooLong", VERSION "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZWFhYWFhYQ==\r\n"},
                    NamedText{"TooShort", VERSION "Sec-WebSocket-Key: dGhlIA==\r\n"},
                    NamedText{"NoBase64", VERSION "Sec-WebSocket-Key: dGhlIHNhb*BsZSBub25jZQ==\r\n"},
                    NamedText{"WithoutEnd", VERSION "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQaa\r\n"}),
    nameOf);

using SimulatorHandshakeWithAWrongVersion = SimulatorHandshake;
TEST_P(SimulatorHandshakeWithAWrongVersion, IsAnsweredWithAnErrorObject) {
    EXPECT_EQ(answer(426).reason(), "upgrade_required");
}

INSTANTIATE_TEST_SUITE_P(Versions, SimulatorHandshakeWithAWrongVersion,
                         testing::Values(NamedText{"None", KEY}, NamedText{"Twice", KEY VERSION VERSION},
                                         NamedText{"Empty", KEY "Sec-WebSocket-Version:\r\n"},
                                         NamedText{"Older", KEY "Sec-WebSocket-Version: 12\r\n"},
                                         NamedText{"Several", KEY "Sec-WebSocket-Version: 13, 8\r\n"}),
                         nameOf);
#undef KEY
#undef VERSION

TEST_F(SimulatorRequestHead, RefusesAHandshakeWithABody) {
    const RawHttp::Answer refused = answer(
        "GET /ClampControl HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
        "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
        "Sec-WebSocket-Protocol: zeb.v1\r\nContent-Length: 2\r\n\r\n{}");
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.reason(), "bad_request");
}

TEST_F(SimulatorRequestHead, AcceptsAHandshakeThatOffersEachSubProtocolInALineOfItsOwn) {
    EXPECT_EQ(
        answer(
            "GET /ClampControl HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
            "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
            "Sec-WebSocket-Protocol: zeb.v2\r\nSec-WebSocket-Protocol: zeb.v1\r\n\r\n")
            .status,
        101);
}

TEST_F(SimulatorRequestHead, RefusesAHandshakeThatSomethingFollows) {
    EXPECT_EQ(
        answer(
            "GET /ClampControl HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
            "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
            "Sec-WebSocket-Protocol: zeb.v1\r\n\r\nGET / HTTP/1.1\r\n\r\n")
            .status,
        400);
}

}  // namespace
