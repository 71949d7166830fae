#include <NamedText.h>

#include <ostream>
#include <stdexcept>

#include "SimulatorTest.h"

namespace {

using SimulatorHttp = SimulatorTest;

TEST_F(SimulatorHttp, GivesTheElementsOfACollectionInTheirOrder) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps").ids(), "1,2,3");
}

TEST_F(SimulatorHttp, TakesACollectionWithSeparatorToo) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps/?type=ClampS").ids(), "2");
}

TEST_F(SimulatorHttp, GivesOneElementWithIdNameAndUri) {
    const auto data = RawHttp(sut.port()).get("/ClampControl/clamps/1").json()->getObject("data");
    EXPECT_EQ(data->getValue<std::string>("id"), "1");
    EXPECT_EQ(data->getValue<std::string>("name"), "Clamp 15");
    EXPECT_EQ(data->getValue<std::string>("uri"), "/ClampControl/clamps/1");
}

TEST_F(SimulatorHttp, SaysWhenItAnsweredInUtcWithMicroseconds) {
    const auto text = RawHttp(sut.port()).get("/ClampControl/clamps/1").json()->getValue<std::string>("ts");
    EXPECT_EQ(text.size(), std::string("2026-01-31T12:34:56.123456Z").size());
    EXPECT_EQ(text.back(), 'Z');
}

TEST_F(SimulatorHttp, AnswersSeveralRequestsOnOneConnection) {
    RawHttp http(sut.port());
    http.get("/ClampControl/clamps/1");
    EXPECT_EQ(http.get("/ClampControl/clamps/2").status, 200);
}

TEST_F(SimulatorHttp, FiltersByBooleanText) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?isSwitchedOn=false").ids(), "1,3");
}

TEST_F(SimulatorHttp, FiltersByNumberText) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?level=3").ids(), "1");
}

TEST_F(SimulatorHttp, FiltersByPercentEncodedText) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?name=Clamp%2075%20X").ids(), "3");
}

TEST_F(SimulatorHttp, FiltersByTheUriOfAReference) {
    EXPECT_EQ(RawHttp(sut.port()).get("/Users/groups?next=%2FUsers%2Fgroups%2Fb").ids(), "a");
}

TEST_F(SimulatorHttp, FiltersByTheTextOfAList) {
    EXPECT_EQ(RawHttp(sut.port()).get("/Users/groups?tags=%5B%22x%22,2%5D").ids(), "b");
}

TEST_F(SimulatorHttp, FiltersByTheUrisInAList) {
    EXPECT_EQ(RawHttp(sut.port()).get("/Users/groups?members=%5B%22%2FClampControl%2Fclamps%2F1%22%5D").ids(),
              "a");
}

TEST_F(SimulatorHttp, MatchesNoFilterWithAnObjectWithoutUri) {
    EXPECT_EQ(RawHttp(sut.port()).get("/Users/groups?owner=").ids(), "");
}

TEST_F(SimulatorHttp, WantsEveryFilterToMatch) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?isSwitchedOn=false&type=ClampS").ids(), "");
}

TEST_F(SimulatorHttp, DeliversIdNameAndUriBesideTheFieldsAskedFor) {
    const auto data =
        RawHttp(sut.port()).get("/ClampControl/clamps/1?$fields=type").json()->getObject("data");
    EXPECT_EQ(data->size(), 4U);
    EXPECT_TRUE(data->has("id") && data->has("name") && data->has("uri") && data->has("type"));
}

TEST_F(SimulatorHttp, SortsDescendingWithThoseWithoutTheKeyLast) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?$sortby=-level").ids(), "1,2,3");
}

TEST_F(SimulatorHttp, SortsAscendingWithThoseWithoutTheKeyLast) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?$sortby=%2Blevel").ids(), "2,1,3");
}

TEST_F(SimulatorHttp, SortsBySeveralKeys) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?$sortby=+isSwitchedOn,-id").ids(), "3,1,2");
}

TEST_F(SimulatorHttp, SortsStringsByTheirBytesHoweverTheyAreEscaped) {
    int id = 0;
    for (const char* const value :
         {R"(a\")", R"(a!)", R"(a\\)", R"(a\u0001)", R"(a\u001f)", R"(a)", R"(a\u00e4)"}) {
        sut.addElement("/ClampControl/texts/" + std::to_string(++id),
                       R"({"a":")" + std::string(value) + "\"}");
    }
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/texts?$sortby=+a").ids(), "6,4,5,2,1,3,7");
}

TEST_F(SimulatorHttp, SortsNumbersByTheirValueHoweverTheyAreWritten) {
    int id = 0;
    for (const char* const value :
         {"1e400", "9007199254740993", "9007199254740992.0", "0.5e-2", "-1e400", "-3", "1E+400", "0.0049",
          "9007199254740992", "-0", "0e5", "1e99999999999999999999", "-2.5", "0.05", "12", "1.20e1", "120"}) {
        sut.addElement("/ClampControl/numbers/" + std::to_string(++id),
                       R"({"a":)" + std::string(value) + "}");
    }
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/numbers?$sortby=+a&$fields=id").ids(),
              "5,6,13,10,11,8,4,14,15,16,17,3,9,2,1,7,12");
}

TEST_F(SimulatorHttp, FiltersByATextWithEscapes) {
    sut.set("/ClampControl/clamps/1", R"({"name":"a\"\\\u0001\u00e4"})");
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?name=a%22%5C%01%C3%A4").ids(), "1");
}

TEST_F(SimulatorHttp, LimitsAfterTheOffset) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?$offset=1&$limit=1").ids(), "2");
}

TEST_F(SimulatorHttp, BeginsAfterTheElementOfTheOffset) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?%24offset=id:2").ids(), "3");
}

TEST_F(SimulatorHttp, TakesAnOffsetBeyondTheEndForNothing) {
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps?$offset=9223372036854775807").ids(), "");
}

TEST_F(SimulatorHttp, ExpandsReferencesInListsAndFields) {
    const auto data = RawHttp(sut.port()).get("/Users/groups/a?$expand=1").json()->getObject("data");
    EXPECT_EQ(data->getArray("members")->getObject(0)->getValue<std::string>("type"), "Clamp15");
    EXPECT_TRUE(data->getObject("next")->has("next"));
}

TEST_F(SimulatorHttp, ExpandsTheFieldsAskedForOnly) {
    const auto data = RawHttp(sut.port()).get("/Users/groups/a?$expand=1:next").json()->getObject("data");
    EXPECT_FALSE(data->getArray("members")->getObject(0)->has("type"));
}

TEST_F(SimulatorHttp, NeverExpandsAnElementInsideItself) {
    const auto data = RawHttp(sut.port()).get("/Users/groups/a?$expand=8").json()->getObject("data");
    EXPECT_FALSE(data->getObject("next")->getObject("next")->has("members"));
}

TEST_F(SimulatorHttp, MergesAPostIntoTheElement) {
    RawHttp http(sut.port());
    EXPECT_EQ(http.post("/ClampControl/clamps/1", R"({"isSwitchedOn":true})").status, 200);
    const auto data = http.get("/ClampControl/clamps/1").json()->getObject("data");
    EXPECT_TRUE(data->getValue<bool>("isSwitchedOn"));
    EXPECT_EQ(data->getValue<std::string>("type"), "Clamp15");
}

TEST(SimulatorWithABasePath, IsReachedByItsEncodedForm) {
    zebbussim::BusSimulator::Options options;
    options.basePath = "a%20b";
    zebbussim::BusSimulator sut(options);
    sut.start();
    EXPECT_EQ(sut.basePath(), "/a%20b/");
    EXPECT_EQ(RawHttp(sut.port()).get("/a%20b/serviceregistry/services").status, 200);
}

class SimulatorBasePath : public testing::TestWithParam<test_support::NamedText> {};

TEST_P(SimulatorBasePath, IsRefusedWhenNoRequestCanHaveIt) {
    zebbussim::BusSimulator::Options options;
    options.basePath = GetParam().text;
    EXPECT_THROW(zebbussim::BusSimulator{options}, std::invalid_argument);
}

INSTANTIATE_TEST_SUITE_P(Texts, SimulatorBasePath,
                         testing::Values(test_support::NamedText{"EmptySegment", "/a//b"},
                                         test_support::NamedText{"DotDot", "/../x"},
                                         test_support::NamedText{"Query", "/a?b"},
                                         test_support::NamedText{"Fragment", "/a#b"},
                                         test_support::NamedText{"EncodedSlash", "/%2F/"},
                                         test_support::NamedText{"Newline", "/a\nb"},
                                         test_support::NamedText{"Blank", "/a b"},
                                         test_support::NamedText{"BrokenEscape", "/%zz/"},
                                         test_support::NamedText{"TwoSlashes", "//"}),
                         test_support::nameOf);

struct Refusal {
    const char* name;
    const char* method;
    const char* target;
    const char* body;
    int status;
    const char* reason;
};

void PrintTo(const Refusal& refusal, std::ostream* stream) {
    *stream << refusal.name;
}

class SimulatorRefusal : public SimulatorTest, public testing::WithParamInterface<Refusal> {};

TEST_P(SimulatorRefusal, GivesStatusAndReasonAndGoesOn) {
    RawHttp http(sut.port());
    const RawHttp::Answer answer = http.request(GetParam().method, GetParam().target, GetParam().body);
    EXPECT_EQ(answer.status, GetParam().status);
    EXPECT_EQ(answer.errorNumber(), GetParam().status);
    EXPECT_EQ(answer.reason(), GetParam().reason);
    EXPECT_EQ(http.get("/ClampControl/clamps/1").status, 200);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, SimulatorRefusal,
    testing::Values(
        Refusal{"UnknownElement", "GET", "/ClampControl/clamps/9", "", 404, "unavailable_data"},
        Refusal{"UnknownResource", "GET", "/ClampControl/lamps", "", 404, "invalid_path"},
        Refusal{"UnknownService", "GET", "/Nothing/clamps", "", 404, "invalid_path"},
        Refusal{"PathBelowAnElement", "GET", "/ClampControl/clamps/1/2", "", 404, "invalid_path"},
        Refusal{"EmptySegment", "GET", "/ClampControl//1", "", 400, "bad_request"},
        Refusal{"DotSegment", "GET", "/ClampControl/../clamps", "", 400, "bad_request"},
        Refusal{"BadPercentEncoding", "GET", "/ClampControl/cla%zzmps", "", 400, "bad_request"},
        Refusal{"LonePercentSign", "GET", "/ClampControl/clamps/%", "", 400, "bad_request"},
        Refusal{"BytesAfterAPercentSign", "GET", "/ClampControl/clamps/%3\xcd\xcc", "", 400, "bad_request"},
        Refusal{"EncodedBytesThatAreNotUtf8", "GET", "/ClampControl/clamps/%ff", "", 400, "bad_request"},
        Refusal{"EncodedSlash", "GET", "/ClampControl/clamps/a%2Fb", "", 400, "bad_request"},
        Refusal{"EncodedNul", "GET", "/ClampControl/clamps/%00", "", 400, "bad_request"},
        Refusal{"FilterWithoutValue", "GET", "/ClampControl/clamps?type", "", 400, "filter_invalid"},
        Refusal{"UnknownOption", "GET", "/ClampControl/clamps?$what=1", "", 400, "filter_invalid"},
        Refusal{"RepeatedLimit", "GET", "/ClampControl/clamps?$limit=1&$limit=1", "", 400, "filter_invalid"},
        Refusal{"NegativeLimit", "GET", "/ClampControl/clamps?$limit=-1", "", 400, "filter_invalid"},
        Refusal{"EmptyLimit", "GET", "/ClampControl/clamps?$limit=", "", 400, "filter_invalid"},
        Refusal{"LimitBeyond64Bits", "GET", "/ClampControl/clamps?$limit=9223372036854775808", "", 400,
                "filter_invalid"},
        Refusal{"SortingOfElements", "GET", "/ClampControl/clamps?$sortby=type", "", 400, "filter_invalid"},
        Refusal{"SortingByOneKeyTwice", "GET", "/ClampControl/clamps?$sortby=+level,-level", "", 400,
                "filter_invalid"},
        Refusal{"ExpandBeyondTheLimit", "GET", "/ClampControl/clamps?$expand=9", "", 400, "filter_invalid"},
        Refusal{"EmptyFields", "GET", "/ClampControl/clamps?$fields=", "", 400, "filter_invalid"},
        Refusal{"OffsetAtAnUnknownElement", "GET", "/ClampControl/clamps?$offset=id:9", "", 404,
                "unavailable_data"},
        Refusal{"FilterOnAnElement", "GET", "/ClampControl/clamps/1?type=Clamp15", "", 400, "filter_invalid"},
        Refusal{"ServiceWithoutUpgrade", "GET", "/ClampControl", "", 426, "upgrade_required"},
        Refusal{"PostToAResource", "POST", "/ClampControl/clamps", "{}", 405, "method_not_allowed"},
        Refusal{"DeleteOfAnElement", "DELETE", "/ClampControl/clamps/1", "", 405, "method_not_allowed"},
        Refusal{"PostWithoutBody", "POST", "/ClampControl/clamps/1", "", 400, "bad_request"},
        Refusal{"PostOfAList", "POST", "/ClampControl/clamps/1", "[]", 400, "bad_request"},
        Refusal{"PostOfTruncatedJson", "POST", "/ClampControl/clamps/1", "{\"type\":", 400, "bad_request"},
        Refusal{"PostOfTextThatIsNotUtf8", "POST", "/ClampControl/clamps/1", "{\"type\":\"\xff\"}", 400,
                "bad_request"},
        Refusal{"PostOfAnotherId", "POST", "/ClampControl/clamps/1", "{\"id\":\"2\"}", 400, "bad_request"},
        Refusal{"PostOfANumberAsId", "POST", "/ClampControl/clamps/1", "{\"id\":1}", 400, "bad_request"},
        Refusal{"PostOfNullAsName", "POST", "/ClampControl/clamps/1", "{\"name\":null}", 400, "bad_request"},
        Refusal{"PostWithAQuery", "POST", "/ClampControl/clamps/1?a=b", "{}", 400, "filter_invalid"},
        Refusal{"PostToTheServiceRegistry", "POST", "/serviceregistry/services/Users", "{}", 405,
                "method_not_allowed"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(SimulatorHttp, NamesTheMethodsThatAnElementTakes) {
    EXPECT_EQ(RawHttp(sut.port()).request("PUT", "/ClampControl/clamps/1", "").allow, "GET, POST");
}

TEST_F(SimulatorHttp, RefusesABodyThatIsNestedTooDeep) {
    std::string body;
    for (int depth = 0; depth < 65; ++depth) {
        body += "{\"a\":";
    }
    body += "1" + std::string(65, '}');
    EXPECT_EQ(RawHttp(sut.port()).post("/ClampControl/clamps/1", body).status, 400);
}

TEST_F(SimulatorHttp, RefusesABodyOfMoreThanOneMebibyteAndCloses) {
    const RawHttp::Answer answer =
        RawHttp(sut.port()).post("/ClampControl/clamps/1", std::string(1024 * 1024 + 1, ' '));
    EXPECT_EQ(answer.reason(), "payload_too_large");
    EXPECT_FALSE(answer.keepAlive);
}

TEST_F(SimulatorHttp, RefusesHeadersOfMoreThanEightKibibytes) {
    EXPECT_EQ(RawHttp(sut.port()).get("/" + std::string(9000, 'a')).reason(), "header_too_large");
}

TEST_F(SimulatorHttp, AnswersWhatIsNotHttpWithAnErrorAndCloses) {
    const RawHttp::Answer answer = RawHttp(sut.port()).sendBytes("this is not HTTP\r\n\r\n");
    EXPECT_EQ(answer.status, 400);
    EXPECT_FALSE(answer.keepAlive);
}

TEST_F(SimulatorHttp, TakesATargetInAbsoluteForm) {
    EXPECT_EQ(RawHttp(sut.port()).get("http://localhost/ClampControl/clamps?type=ClampS").ids(), "2");
}

TEST_F(SimulatorHttp, CountsRequestsByPath) {
    RawHttp http(sut.port());
    http.get("/ClampControl/clamps/?type=ClampS");
    http.get("/ClampControl/clamps/1");
    EXPECT_EQ(sut.requestCount("/ClampControl/clamps"), 1U);
}

TEST(SimulatorWithBasePath, ServesBelowIt) {
    zebbussim::BusSimulator::Options options;
    options.basePath = "bus/v1";
    zebbussim::BusSimulator sut(options);
    sut.loadText(R"({"services":{"A":{"b":[{"id":"1"}]}}})");
    sut.start();
    RawHttp http(sut.port());
    EXPECT_EQ(http.get("/bus/v1/A/b").ids(), "1");
    EXPECT_EQ(http.get("/A/b").reason(), "invalid_path");
}

TEST(SimulatorFaults, AnswerWithTheStatusAskedFor) {
    zebbussim::BusSimulator sut;
    sut.start();
    sut.answerHttp("/", 502, "no JSON");
    const RawHttp::Answer answer = RawHttp(sut.port()).get("/A/b");
    EXPECT_EQ(answer.status, 502);
    EXPECT_EQ(answer.body, "no JSON");
}

TEST(SimulatorFaults, AnswerWithTheBytesAskedForAndClose) {
    zebbussim::BusSimulator sut;
    sut.start();
    sut.answerHttpWithBytes("/", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nshort");
    RawHttp http(sut.port());
    http.write("GET /A/b HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(http.readToEnd(), "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nshort");
}

TEST_F(SimulatorHttp, NeverAnswersWhatItIsToIgnore) {
    sut.ignoreHttp("/ClampControl/clamps");
    RawHttp http(sut.port());
    http.write("GET /ClampControl/clamps HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_TRUE(sut.waitForRequests("/ClampControl/clamps", 1, kLong));
    EXPECT_FALSE(http.answersWithin(std::chrono::milliseconds(50)));
}

TEST_F(SimulatorHttp, AnswersOtherPathsThanThoseThatItIsToIgnore) {
    sut.ignoreHttp("/ClampControl/clamps/1");
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps/2").status, 200);
}

TEST_F(SimulatorHttp, AnswersLateWhatItIsToDelay) {
    sut.delayHttp("/ClampControl", std::chrono::milliseconds(100));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps/1").status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
}

TEST_F(SimulatorHttp, AnswersRightlyAfterTheFaultsAreCleared) {
    sut.answerHttp("/", 500, "");
    sut.clearHttpFaults();
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps/1").status, 200);
}

}  // namespace
