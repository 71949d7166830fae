#include <NamedText.h>
#include <gtest/gtest.h>
#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>

#include <exception>
#include <string>
#include <vector>

#include "websocket/ServerMessage.h"

namespace {

using test_support::NamedText;
using zeb::ServerMessage;

TEST(ServerMessage, FindsTheExtentOfTheData) {
    const std::string text =
        R"({"action":"subscription","subscriptionId":"12","seq":3,"data":{"id":"1","on":true},"ts":"x"})";
    const ServerMessage sut = ServerMessage::read(text);
    EXPECT_EQ(sut.data, R"({"id":"1","on":true})");
}

TEST(ServerMessage, ReadsWhatRoutingNeeds) {
    const std::string text = R"({"seq":3,"subscriptionId":"12","requestId":"7","action":"subscription"})";
    const ServerMessage sut = ServerMessage::read(text);
    EXPECT_EQ(sut.action, "subscription");
    EXPECT_EQ(sut.subscriptionId, "12");
    EXPECT_EQ(sut.requestId, "7");
    EXPECT_EQ(sut.seq, 3);
}

TEST(ServerMessage, LeavesOutWhatIsNotThere) {
    const ServerMessage sut = ServerMessage::read("{}");
    EXPECT_FALSE(sut.action || sut.requestId || sut.subscriptionId || sut.seq || sut.data || sut.error);
}

TEST(ServerMessage, IsNotMisledByBracketsAndQuotesInStrings) {
    const std::string text = R"({"other":"\"}]{","data":{"name":"}\\","list":["]"]},"seq":1})";
    const ServerMessage sut = ServerMessage::read(text);
    EXPECT_EQ(sut.data, R"({"name":"}\\","list":["]"]})");
    EXPECT_EQ(sut.seq, 1);
}

TEST(ServerMessage, DecodesEscapesInKeysAndTexts) {
    const std::string text = R"({"\u0061ction":"sub\u0073cription","subscriptionId":"a\"b"})";
    const ServerMessage sut = ServerMessage::read(text);
    EXPECT_EQ(sut.action, "subscription");
    EXPECT_EQ(sut.subscriptionId, "a\"b");
}

TEST(ServerMessage, KeepsTheLastOfARepeatedKey) {
    const std::string text = R"({"seq":1,"seq":2})";
    EXPECT_EQ(ServerMessage::read(text).seq, 2);
}

TEST(ServerMessage, DoesNotMindTheKindOfWhatIsRepeatedLater) {
    const std::string text = R"({"seq":"1","error":null,"seq":2,"error":{}})";
    EXPECT_EQ(ServerMessage::read(text).seq, 2);
}

TEST(ServerMessage, AllowsWhiteSpaceAnywhere) {
    const std::string text = " {\n\"seq\" :\t1 , \"data\" : [ 1 , 2 ] }\r\n";
    EXPECT_EQ(ServerMessage::read(text).data, "[ 1 , 2 ]");
}

TEST(ServerMessage, TakesDataOfEveryKind) {
    for (const std::string data : {"null", "true", "-1.5e3", "\"text\"", "[]", "{}"}) {
        const std::string text = "{\"data\":" + data + "}";
        EXPECT_EQ(ServerMessage::read(text).data, data);
    }
}

class MalformedServerMessage : public testing::TestWithParam<NamedText> {};

TEST_P(MalformedServerMessage, IsRefused) {
    const std::string& text = GetParam().text;
    EXPECT_THROW(ServerMessage::read(text), zeb::ZebException);
}

INSTANTIATE_TEST_SUITE_P(
    ServerMessage, MalformedServerMessage,
    testing::Values(
        NamedText{"Empty", ""}, NamedText{"Null", "null"}, NamedText{"List", "[]"},
        NamedText{"Text", "\"text\""}, NamedText{"OpeningBraceOnly", "{"}, NamedText{"ClosingBraceOnly", "}"},
        NamedText{"KeyWithoutColon", "{\"data\"}"}, NamedText{"KeyWithoutValue", "{\"data\":}"},
        NamedText{"TrailingComma", "{\"data\":1,}"}, NamedText{"TextAfterTheEnd", "{\"data\":1}x"},
        NamedText{"MissingClosingBrace", "{\"data\":{\"a\":1}"},
        NamedText{"UnclosedText", "{\"data\":\"open}"},
        NamedText{"TextThatEndsInAnEscape", "{\"data\":\"open\\"}, NamedText{"KeyWithoutQuotes", "{data:1}"},
        NamedText{"SeqThatIsText", "{\"seq\":\"1\"}"}, NamedText{"FractionAsSeq", "{\"seq\":1.5}"},
        NamedText{"SeqBeyond64Bits", "{\"seq\":99999999999999999999}"},
        NamedText{"NumberAsAction", "{\"action\":5}"}, NamedText{"NullAsRequestId", "{\"requestId\":null}"},
        NamedText{"NullAsError", "{\"data\":{},\"error\":null}"},
        NamedText{"TextAsError", "{\"error\":\"x\"}"}, NamedText{"ListAsError", "{\"error\":[]}"},
        NamedText{"EscapeWithTooFewDigits", "{\"requestId\":\"\\u00d\"}"},
        NamedText{"UnknownEscape", "{\"requestId\":\"\\x\"}"}),
    test_support::nameOf);

/// Wrong JSON, and its like that is right.
const std::vector<std::string> kValues = {"[}",
                                          "{]",
                                          "[1,]",
                                          "[,1]",
                                          "[1 2]",
                                          "{\"a\"}",
                                          "{\"a\":}",
                                          "{\"a\":1,}",
                                          "{1:1}",
                                          "{\"a\" 1}",
                                          "[\"a\":1]",
                                          "tru",
                                          "truetrue",
                                          "nul",
                                          "+1",
                                          "01",
                                          "-",
                                          "-01",
                                          "1.",
                                          ".5",
                                          "1e",
                                          "1e+",
                                          "0x1",
                                          "NaN",
                                          "'a'",
                                          "\"\\x\"",
                                          "\"\\u12\"",
                                          "\"\\u12g4\"",
                                          "\"\t\"",
                                          "\"\\ud800\"",
                                          "\"\\udc00\"",
                                          "\"\\ud800\\u0041\"",
                                          "\"\\ud800\\n\"",
                                          "[[1,2,[]],{}",
                                          "{\"a\":{\"b\":[1}]}",
                                          "[]",
                                          "{}",
                                          "[1]",
                                          "[1,2]",
                                          "[ 1 , 2 ]",
                                          "{\"a\":1}",
                                          "{\"a\":[{}]}",
                                          "{\"a\":1,\"b\":[]}",
                                          "[[],{}]",
                                          "true",
                                          "[true]",
                                          "null",
                                          "1",
                                          "-1",
                                          "0",
                                          "-0",
                                          "1.5",
                                          "1e5",
                                          "1E-5",
                                          "0.5e+7",
                                          "\"\"",
                                          "\"a\"",
                                          "\"\\n\"",
                                          "\"\\u1234\"",
                                          "\"\\ud83d\\ude00\"",
                                          "\"\\\"\"",
                                          "\"\\\\\"",
                                          "\"\x7f\"",
                                          "[[1,2,[]],{}]",
                                          "{\"a\":{\"b\":[1]}}"};

bool isRefused(const std::string& text) {
    try {
        ServerMessage::read(text);
        return false;
    } catch (const zeb::ZebException&) {
        return true;
    }
}

bool isJson(const std::string& text) {
    try {
        zebutil::JsonObject::parse(text);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

TEST(ServerMessage, IsRefusedIfAMemberThatNobodyReadsIsNoJson) {
    for (const std::string& value : kValues) {
        const std::string text = "{\"other\":" + value + ",\"action\":\"x\"}";
        EXPECT_EQ(isRefused(text), !isJson(text)) << text;
    }
}

TEST(ServerMessage, IsRefusedIfItsErrorIsNoJson) {
    for (const std::string& value : kValues) {
        const std::string text = R"({"error":{"message":)" + value + "}}";
        EXPECT_EQ(isRefused(text), !isJson(text)) << text;
    }
}

TEST(ServerMessage, IsRefusedIfAKeyIsNoJson) {
    for (const std::string& value : kValues) {
        const std::string text = "{" + value + ":1}";
        EXPECT_EQ(isRefused(text), !isJson(text)) << text;
    }
}

TEST(ServerMessage, IsRefusedIfATextThatRoutingNeedsIsNoJson) {
    for (const std::string& value : kValues) {
        if (value.front() == '"') {
            const std::string text = "{\"subscriptionId\":" + value + "}";
            EXPECT_EQ(isRefused(text), !isJson(text)) << text;
        }
    }
}

// The subscription is known, so only this notification is lost.
TEST(ServerMessage, LeavesTheCheckOfDataToItsReader) {
    const std::string text = R"({"data":{"y":[}}})";
    EXPECT_EQ(ServerMessage::read(text).data, R"({"y":[}})");
}

TEST(ServerMessage, RefusesNestingOfMoreThan64Levels) {
    for (const std::string key : {"data", "other"}) {
        const auto nested = [&key](std::size_t levels) {
            return "{\"" + key + "\":" + std::string(levels - 1, '[') + std::string(levels - 1, ']') + "}";
        };
        EXPECT_FALSE(isRefused(nested(64))) << key;
        EXPECT_TRUE(isRefused(nested(65))) << key;
    }
}

std::string refusalOf(const std::string& text) {
    try {
        ServerMessage::read(text);
        return "none";
    } catch (const zeb::ZebException& exception) {
        return exception.what();
    }
}

TEST(ServerMessage, SaysWhatWasExpectedWhereAndWhatWasFound) {
    EXPECT_EQ(refusalOf("{\"seq\":1;"),
              "ZebException: message of the server expected the end of the value at byte 8, found ;");
    EXPECT_EQ(refusalOf("{\"seq\":"),
              "ZebException: message of the server expected a value at byte 7, found the end");
}

TEST(ServerMessage, SaysWhichMemberIsWrong) {
    EXPECT_NE(refusalOf(R"({"seq":"1"})").find("an integer of 64 bits as \"seq\" at byte 7, found \"1\"}"),
              std::string::npos);
    EXPECT_NE(refusalOf(R"({"requestId":5})").find("a string as \"requestId\" at byte 13, found 5}"),
              std::string::npos);
    EXPECT_NE(refusalOf(R"({"error":null})").find("an object as \"error\" at byte 9, found null}"),
              std::string::npos);
}

TEST(ServerMessage, SaysWhereAMemberThatNobodyReadsIsWrong) {
    EXPECT_NE(
        refusalOf(R"({"other":[1,{"a" 2}]})").find("expected a colon after a key at byte 17, found 2}]}"),
        std::string::npos);
}

TEST(ServerMessage, ShowsOnlyTheBeginningOfWhatIsWrong) {
    EXPECT_LT(refusalOf("{\"seq\":\"" + std::string(5000, 'x') + "\"}").size(), 150U);
}

}  // namespace
