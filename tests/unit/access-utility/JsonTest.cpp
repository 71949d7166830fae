#include <Poco/JSON/Parser.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using zebutil::JsonArray;
using zebutil::JsonException;
using zebutil::JsonObject;

/// An object with the JSON text as the value of "key".
std::shared_ptr<JsonObject> objectWith(const std::string& value) {
    return JsonObject::parse("{\"key\":" + value + "}");
}

template <typename Call>
std::string refusalOf(const Call& call) {
    try {
        call();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "no exception";
}

/// Checking a text must refuse the same with the same words.
std::string refusalOfParsing(const std::string& text) {
    std::string refusal = refusalOf([&] { JsonObject::parse(text); });
    EXPECT_EQ(refusalOf([&] { JsonObject::check(text); }), refusal);
    return refusal;
}

std::string nested(int depth) {
    std::string text = "1";
    for (int i = 0; i < depth; ++i) {
        text = i % 2 == 0 && i + 1 < depth ? "[" + text + "]" : "{\"k\":" + text + "}";
    }
    return text;
}

// Booleans

TEST(JsonObjectGetBool, ReadsABoolean) {
    EXPECT_TRUE(objectWith("true")->getBool("key"));
    EXPECT_FALSE(objectWith("false")->getBool("key"));
}

TEST(JsonObjectGetBool, RefusesEverythingElse) {
    for (const char* value : {"0", "1", "2", "1.0", "\"true\"", "\"banana\"", "null", "{}", "[]", "[true]"}) {
        EXPECT_THROW(objectWith(value)->getBool("key"), JsonException) << value;
    }
}

TEST(JsonObjectGetBool, SaysKeyAndExpectationAndFinding) {
    EXPECT_EQ(refusalOf([] { objectWith("\"banana\"")->getBool("key"); }),
              "\"key\": expected a boolean, found the string \"banana\"");
}

// Integers

TEST(JsonObjectGetInt64, ReadsIntegersExactly) {
    const std::pair<const char*, std::int64_t> integers[] = {
        {"0", 0},
        {"-0", 0},
        {"42", 42},
        {"-1", -1},
        // More than a double can represent exactly.
        {"9007199254740993", 9007199254740993},
        {"-9007199254740993", -9007199254740993},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"-9223372036854775807", -9223372036854775807},
        {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
    };
    for (const auto& [text, value] : integers) {
        EXPECT_EQ(objectWith(text)->getInt64("key"), value) << text;
    }
}

TEST(JsonObjectGetInt64, RefusesEverythingElse) {
    for (const char* value : {"1.0", "1.5", "1e3", "9223372036854775808", "-9223372036854775809",
                              "18446744073709551615", "18446744073709551616", "18446744073709551619",
                              "123456789012345678901234567890", "true", "\"1\"", "null", "{}", "[]"}) {
        EXPECT_THROW(objectWith(value)->getInt64("key"), JsonException) << value;
    }
}

TEST(JsonObjectGetInt64, SaysKeyAndExpectationAndFinding) {
    EXPECT_EQ(refusalOf([] { objectWith("1.5")->getInt64("key"); }),
              "\"key\": expected an integer within 64 bits, found the number 1.5");
}

TEST(JsonObjectGetInt64, ReadsIntegersOfOtherTypesInATreeThatWasNotParsed) {
    Poco::JSON::Object::Ptr tree = new Poco::JSON::Object;
    tree->set("key", 5);
    EXPECT_EQ(JsonObject(tree).getInt64("key"), 5);
}

TEST(JsonObjectGetInt64, RefusesAnUnsignedIntegerBeyondItsRange) {
    Poco::JSON::Object::Ptr tree = new Poco::JSON::Object;
    tree->set("key", std::numeric_limits<Poco::UInt64>::max());
    EXPECT_THROW(JsonObject(tree).getInt64("key"), JsonException);
}

// Strings

TEST(JsonObjectGetString, ReadsAString) {
    EXPECT_EQ(objectWith("\"x\"")->getString("key"), "x");
}

TEST(JsonObjectGetString, GivesTheTextOfANumber) {
    EXPECT_EQ(objectWith("-17")->getString("key"), "-17");
    EXPECT_EQ(objectWith("0.1")->getString("key"), "0.1");
}

TEST(JsonObjectGetString, GivesTheTextOfABoolean) {
    EXPECT_EQ(objectWith("true")->getString("key"), "true");
    EXPECT_EQ(objectWith("false")->getString("key"), "false");
}

TEST(JsonObjectGetString, RefusesEverythingElse) {
    for (const char* value : {"null", "{}", "[]", "[\"x\"]"}) {
        EXPECT_THROW(objectWith(value)->getString("key"), JsonException) << value;
    }
}

TEST(JsonObjectGetString, SaysKeyAndExpectationAndFinding) {
    EXPECT_EQ(refusalOf([] { objectWith("null")->getString("key"); }),
              "\"key\": expected a string, a number or a boolean, found null");
}

// Objects and arrays

TEST(JsonObjectGetObject, GivesAViewOfTheSameTree) {
    const auto sut = objectWith("{\"inner\":1}");
    sut->getObject("key")->setInt64("inner", 2);
    EXPECT_EQ(sut->toString(), R"({"key":{"inner":2}})");
}

TEST(JsonObjectGetObject, RefusesAnArray) {
    EXPECT_EQ(refusalOf([] { objectWith("[]")->getObject("key"); }),
              "\"key\": expected an object, found an array");
}

TEST(JsonObjectGetArray, GivesTheElementsInOrder) {
    const auto sut = objectWith("[3,1,2]")->getArray("key");
    EXPECT_EQ(sut->toString(), "[3,1,2]");
}

TEST(JsonObjectGetArray, RefusesAnObject) {
    EXPECT_EQ(refusalOf([] { objectWith("{}")->getArray("key"); }),
              "\"key\": expected an array, found an object");
}

TEST(JsonObject, SaysNothingWasFoundWhenAKeyIsMissing) {
    EXPECT_EQ(refusalOf([] { JsonObject().getBool("key"); }), "\"key\": expected a boolean, found nothing");
}

TEST(JsonObject, CutsLongTextsInItsMessagesBetweenCharacters) {
    const std::string longText = std::string(59, 'a') + "\xC3\xA4" + std::string(1000, 'b');
    EXPECT_EQ(refusalOf([&] { objectWith('"' + longText + '"')->getBool("key"); }),
              "\"key\": expected a boolean, found the string \"" + std::string(59, 'a') + "...\"");
}

TEST(JsonObject, KeepsItsMessagesOnOneLine) {
    EXPECT_THAT(refusalOf([] { objectWith("\"a\\nb\"")->getBool("key"); }), HasSubstr("a?b"));
}

TEST(JsonObject, HasAKeyWhoseValueIsNull) {
    EXPECT_TRUE(objectWith("null")->has("key"));
}

TEST(JsonObject, HasNoKeyThatIsMissing) {
    EXPECT_FALSE(objectWith("1")->has("Key"));
}

TEST(JsonObject, TellsKindsApart) {
    const auto sut = JsonObject::parse(R"({"n":null,"s":"","o":{},"a":[]})");
    EXPECT_TRUE(sut->isNull("n"));
    EXPECT_TRUE(sut->isString("s"));
    EXPECT_TRUE(sut->isObject("o"));
    EXPECT_TRUE(sut->isArray("a"));
}

TEST(JsonObject, SaysOfAMissingKeyThatItIsOfNoKind) {
    const JsonObject sut;
    EXPECT_FALSE(sut.isNull("x") || sut.isString("x") || sut.isObject("x") || sut.isArray("x"));
}

TEST(JsonObject, GivesBackWhatWasSet) {
    JsonArray array;
    array.addString("x");
    JsonObject inner;
    inner.setBool("b", true);
    JsonObject sut;
    sut.setBool("bool", false);
    sut.setInt64("int", std::numeric_limits<std::int64_t>::min());
    sut.setString("string", "\"\n\xC3\xA4");
    sut.setObject("object", inner);
    sut.setArray("array", array);
    EXPECT_EQ(JsonObject::parse(sut.toString())->toString(), sut.toString());
    EXPECT_EQ(sut.toString(),
              "{\"array\":[\"x\"],\"bool\":false,\"int\":-9223372036854775808,\"object\":{\"b\":true},"
              "\"string\":\"\\\"\\n\xC3\xA4\"}");
}

TEST(JsonObject, ReplacesAValueThatIsSetAgain) {
    JsonObject sut;
    sut.setInt64("key", 1);
    sut.setString("key", "x");
    EXPECT_EQ(sut.toString(), R"({"key":"x"})");
}

TEST(JsonObject, GivesItsKeysSorted) {
    EXPECT_THAT(JsonObject::parse(R"({"b":1,"a":2})")->getKeys(), ElementsAre("a", "b"));
}

TEST(JsonException, HasTheByteOfAMistakeInTheTextAndTheReason) {
    try {
        JsonObject::parse(R"({"key":tru})");
        FAIL() << "not refused";
    } catch (const JsonException& exception) {
        EXPECT_EQ(exception.byte(), 7U);
        EXPECT_EQ(exception.reason(), "expected a value");
        EXPECT_STREQ(exception.what(), "JSON, byte 7: expected a value");
    }
}

TEST(JsonException, HasNoByteIfTheTextIsValid) {
    try {
        objectWith("1")->getBool("key");
        FAIL() << "not refused";
    } catch (const JsonException& exception) {
        EXPECT_FALSE(exception.byte());
        EXPECT_EQ(exception.reason(), exception.what());
    }
}

TEST(JsonObject, RefusesANullTree) {
    EXPECT_THROW(JsonObject(Poco::JSON::Object::Ptr{}), JsonException);
}

TEST(JsonObject, FindsEveryKeyOfALargeObject) {
    constexpr int keys = 90000;
    std::string text = "{\"first\":-1";
    for (int key = 0; key < keys; ++key) {
        text += ",\"" + std::to_string(key) + "\":" + std::to_string(key);
    }
    const auto sut = JsonObject::parse(text + "}");
    for (int key = 0; key < keys; ++key) {
        ASSERT_EQ(sut->getInt64(std::to_string(key)), key);
    }
    EXPECT_FALSE(sut->has("90000"));
}

TEST(JsonObject, FindsEveryKeyOfALargeTree) {
    constexpr int keys = 90000;
    Poco::JSON::Object::Ptr tree = new Poco::JSON::Object;
    for (int key = 0; key < keys; ++key) {
        tree->set(std::to_string(key), key);
    }
    const JsonObject sut(tree);
    for (int key = 0; key < keys; ++key) {
        ASSERT_EQ(sut.getInt64(std::to_string(key)), key);
    }
    EXPECT_EQ(refusalOf([&] { sut.getBool("90000"); }), "\"90000\": expected a boolean, found nothing");
}

TEST(JsonObject, SortsKeysByTheirBytesAndNotBySign) {
    EXPECT_THAT(JsonObject::parse("{\"\xC3\xA4\":1,\"z\":2,\"\":3,\"\\u0000\":4,\"za\":5}")->getKeys(),
                ElementsAre("", std::string(1, '\0'), "z", "za", "\xC3\xA4"));
}

// Sharing. Views are of one document, whether it still is as it was parsed or is a tree of Poco's.

TEST(JsonObjectSharing, ShowsAChangeInTheViewsThatWereTakenBefore) {
    const auto sut = JsonObject::parse(R"({"list":[{"inner":1}]})");
    const auto list = sut->getArray("list");
    const auto inner = list->getObject(0);
    sut->getArray("list")->getObject(0)->setInt64("inner", 2);
    EXPECT_EQ(inner->getInt64("inner"), 2);
    EXPECT_EQ(list->toString(), R"([{"inner":2}])");
    EXPECT_EQ(sut->toString(), R"({"list":[{"inner":2}]})");
}

TEST(JsonObjectSharing, ShowsAChangeOfAnArrayInTheWhole) {
    const auto sut = JsonObject::parse(R"({"list":[]})");
    sut->getArray("list")->addBool(true);
    EXPECT_EQ(sut->toString(), R"({"list":[true]})");
}

TEST(JsonObjectSharing, ShowsAChangeInACopy) {
    const auto original = JsonObject::parse(R"({"a":1})");
    const JsonObject sut(*original);
    original->setInt64("a", 2);
    EXPECT_EQ(sut.getInt64("a"), 2);
}

TEST(JsonObjectSharing, ShowsAChangeOfTheTree) {
    const auto sut = JsonObject::parse(R"({"inner":{"a":1}})");
    const auto inner = sut->getObject("inner");
    Poco::JSON::Object::Ptr tree = sut->getTree();
    tree->getObject("inner")->set("a", 2);
    EXPECT_EQ(inner->getInt64("a"), 2);
}

TEST(JsonObjectSharing, GivesOneTreeToAllViews) {
    const auto sut = JsonObject::parse(R"({"object":{},"list":[]})");
    const auto object = sut->getObject("object");
    const auto list = sut->getArray("list");
    EXPECT_EQ(object->getTree().get(), sut->getTree()->getObject("object").get());
    EXPECT_EQ(list->getTree().get(), sut->getTree()->getArray("list").get());
    EXPECT_EQ(sut->getObject("object")->getTree().get(), object->getTree().get());
}

TEST(JsonObjectSharing, KeepsAViewOfWhatWasReplaced) {
    const auto sut = JsonObject::parse(R"({"inner":{"a":1}})");
    const auto inner = sut->getObject("inner");
    sut->setBool("inner", true);
    EXPECT_EQ(inner->toString(), R"({"a":1})");
}

TEST(JsonObjectSharing, PutsAViewIntoAnotherDocumentWithoutCopyingIt) {
    const auto inner = JsonObject::parse(R"({"inner":{"a":1}})")->getObject("inner");
    const auto sut = JsonObject::parse("{}");
    sut->setObject("o", *inner);
    inner->setInt64("a", 2);
    EXPECT_EQ(sut->toString(), R"({"o":{"a":2}})");
}

TEST(JsonObjectSharing, KeepsTheDocumentOfAView) {
    auto whole = JsonObject::parse(R"({"inner":{"a":"x"}})");
    const auto sut = whole->getObject("inner");
    whole.reset();
    EXPECT_EQ(sut->getString("a"), "x");
}

TEST(JsonObjectSharing, KeepsTheTreeAfterItsViews) {
    auto whole = JsonObject::parse(R"({"inner":{"a":"x"}})");
    const Poco::JSON::Object::Ptr tree = whole->getTree();
    whole.reset();
    EXPECT_EQ(JsonObject(tree).getObject("inner")->getString("a"), "x");
}

TEST(JsonObjectSharing, ReadsTheSameFromTheTreeAsFromTheText) {
    const std::string text =
        R"({"a":[0,-1,1.50,"d\u00e4\n",18446744073709551615,null,true,{},[]],"e":{"f":"/\"\\"}})";
    const auto sut = JsonObject::parse(text);
    const std::string before = sut->toString();
    sut->getTree();
    EXPECT_EQ(sut->toString(), before);
}

TEST(JsonObjectSharing, AllowsThreadsToReadWhileOthersMakeTheTree) {
    const auto sut = JsonObject::parse(R"({"inner":{"a":1},"list":[1,2]})");
    std::vector<std::thread> threads;
    std::vector<const Poco::JSON::Object*> trees(4);
    for (std::size_t i = 0; i < trees.size(); ++i) {
        threads.emplace_back([&, i] {
            EXPECT_EQ(sut->getObject("inner")->getInt64("a"), 1);
            trees[i] = sut->getTree().get();
            EXPECT_EQ(sut->getArray("list")->getInt64(1), 2);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(trees, Each(trees.front()));
}

// Arrays

TEST(JsonArray, AppendsAndReadsEveryKind) {
    JsonObject object;
    JsonArray inner;
    JsonArray sut;
    sut.addBool(true);
    sut.addInt64(7);
    sut.addString("x");
    sut.addObject(object);
    sut.addArray(inner);
    EXPECT_TRUE(sut.getBool(0));
    EXPECT_EQ(sut.getInt64(1), 7);
    EXPECT_EQ(sut.getString(2), "x");
    EXPECT_TRUE(sut.isString(2));
    EXPECT_TRUE(sut.isObject(3));
    EXPECT_EQ(sut.getObject(3)->getKeys().size(), 0U);
    EXPECT_TRUE(sut.isArray(4));
    EXPECT_EQ(sut.getArray(4)->size(), 0U);
    EXPECT_EQ(sut.toString(), R"([true,7,"x",{},[]])");
}

TEST(JsonArray, SaysPositionAndExpectationAndFinding) {
    EXPECT_EQ(refusalOf([] { objectWith("[\"x\",{}]")->getArray("key")->getString(1); }),
              "element 1: expected a string, a number or a boolean, found an object");
}

TEST(JsonArray, FindsNothingPastItsEnd) {
    EXPECT_EQ(refusalOf([] { JsonArray().getString(0); }),
              "element 0: expected a string, a number or a boolean, found nothing");
}

TEST(JsonArray, KnowsANullElement) {
    EXPECT_TRUE(objectWith("[null]")->getArray("key")->isNull(0));
}

TEST(JsonArray, RefusesANullTree) {
    EXPECT_THROW(JsonArray(Poco::JSON::Array::Ptr{}), JsonException);
}

// Parsing

TEST(JsonObjectParse, ReadsEveryKindOfValue) {
    const std::string text = R"({"a":[1,-2.5,"x",true,false,null,{},[]],"o":{"k":"v"}})";
    EXPECT_EQ(JsonObject::parse(text)->toString(), text);
}

TEST(JsonObjectParse, SkipsWhiteSpaceBetweenTokens) {
    EXPECT_EQ(JsonObject::parse(" \t\r\n{ \"a\" : [ 1 , 2 ] , \"b\" : { } } \n")->toString(),
              R"({"a":[1,2],"b":{}})");
}

TEST(JsonObjectParse, KeepsTheLastValueOfARepeatedKey) {
    EXPECT_EQ(JsonObject::parse(R"({"a":1,"a":2})")->getInt64("a"), 2);
}

TEST(JsonObjectParse, KeepsTheLastValueOfAKeyThatIsRepeatedOften) {
    std::string text = R"({"":0,"b":[0],"a":{"a":0})";
    for (int value = 1; value <= 50; ++value) {
        text += ",\"\":" + std::to_string(value) + R"(,"\u0061":[)" + std::to_string(value) + "]";
    }
    EXPECT_EQ(JsonObject::parse(text + "}")->toString(), R"({"":50,"a":[50],"b":[0]})");
}

TEST(JsonObjectParse, KeepsTheLastOfEmptyValuesOfAnEmptyKey) {
    EXPECT_TRUE(JsonObject::parse(R"({"":null,"":[],"":{},"":""})")->isString(""));
}

TEST(JsonObjectParse, ReadsTheIntegerMinusZeroAsZero) {
    EXPECT_EQ(objectWith("-0")->toString(), R"({"key":0})");
}

TEST(JsonObjectParse, ReadsTextsOfEverySize) {
    // Beyond some size, texts are read in another way.
    for (std::size_t size = 0; size < 6000; size += 7) {
        const std::string text = R"({"a":")" + std::string(size, 'x') + R"(","b":[0,0,{"c":1}]})";
        ASSERT_EQ(JsonObject::parse(text)->toString(), text);
    }
}

TEST(JsonObjectParse, ReadsTheMostValuesThatFitIntoTextsOfEverySize) {
    for (std::size_t size = 1; size < 3000; size += 5) {
        std::string text = "{\"\":[0";
        for (std::size_t i = 0; i < size; ++i) {
            text += ",0";
        }
        ASSERT_EQ(JsonObject::parse(text + "]}")->getArray("")->size(), size + 1);
    }
}

TEST(JsonObjectParse, RefusesATextThatIsTooLong) {
    constexpr std::size_t size = (std::size_t{64} << 20U) + 1;
    EXPECT_EQ(refusalOfParsing(std::string(size, ' ')),
              "JSON: expected at most 67108864 bytes, found 67108865");
}

TEST(JsonObjectParse, UnderstandsEveryEscape) {
    EXPECT_EQ(objectWith(R"("\"\\\/\b\f\n\r\t\u0041\u00e4\u20AC\ud83d\ude00")")->getString("key"),
              "\"\\/\b\f\n\r\tA\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(JsonObjectParse, KeepsANullCharacterInAString) {
    EXPECT_EQ(objectWith(R"("a\u0000b")")->getString("key"), std::string("a\0b", 3));
}

TEST(JsonObjectParse, KeepsCharactersOfEveryLength) {
    const std::string text = "a\xC3\xA4\xE2\x82\xAC\xED\x9F\xBF\xEE\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";
    EXPECT_EQ(objectWith('"' + text + '"')->getString("key"), text);
}

TEST(JsonObjectParse, Allows64Levels) {
    EXPECT_NO_THROW(JsonObject::parse(nested(64)));
}

TEST(JsonObjectParse, RefusesA65thLevel) {
    EXPECT_THAT(refusalOfParsing(nested(65)), HasSubstr("objects and arrays are nested too deeply"));
}

TEST(JsonObjectParse, CountsLevelsAndNotObjects) {
    std::string text = "{\"k\":[{}";
    for (int i = 0; i < 1000; ++i) {
        text += ",{}";
    }
    EXPECT_NO_THROW(JsonObject::parse(text + "]}"));
}

TEST(JsonObjectParse, SurvivesHostileNesting) {
    EXPECT_THROW(JsonObject::parse("{\"k\":" + std::string(1000000, '[')), JsonException);
}

TEST(JsonObjectParse, SaysWhereTheTextIsWrong) {
    EXPECT_EQ(refusalOfParsing("{\"a\":1,}"), "JSON, byte 7: expected a key in quotes");
}

TEST(JsonObjectParse, SaysWhereALargeTextIsWrong) {
    EXPECT_EQ(refusalOfParsing("{\"a\":\"" + std::string(10000, 'x') + "\\y\"}"),
              "JSON, byte 10007: invalid escape sequence");
}

TEST(JsonObjectParse, RefusesEveryBrokenText) {
    const std::string texts[] = {"",
                                 " ",
                                 "{",
                                 "}",
                                 "[]",
                                 "[1]",
                                 "1",
                                 "null",
                                 "\"x\"",
                                 "{}x",
                                 "{}{}",
                                 std::string("{}\0", 3),
                                 "{a:1}",
                                 "{'a':1}",
                                 "{\"a\"}",
                                 "{\"a\" 1}",
                                 "{\"a\":}",
                                 "{\"a\":1",
                                 "{\"a\":1,}",
                                 "{,}",
                                 "{\"a\":1 \"b\":2}",
                                 "{\"a\":[1,]}",
                                 "{\"a\":[1 2]}",
                                 "{\"a\":[}",
                                 "{\"a\":[1}",
                                 "{/**/\"a\":1}",
                                 "{\"a\":tru}",
                                 "{\"a\":nul",
                                 "{\"a\":True}",
                                 "{\"a\":truee}",
                                 "{\"a\":NaN}",
                                 "{\"a\":Infinity}",
                                 "{\"a\":01}",
                                 "{\"a\":-}",
                                 "{\"a\":+1}",
                                 "{\"a\":.5}",
                                 "{\"a\":1.}",
                                 "{\"a\":1e}",
                                 "{\"a\":1e+}",
                                 "{\"a\":0x1}",
                                 "{\"a\":--1}",
                                 "{\"a\":\"x}",
                                 "{\"a\":\"x\ny\"}",
                                 "{\"a\":\"\\x\"}",
                                 "{\"a\":\"\\\"}",
                                 "{\"a\":\"\\u12\"}",
                                 "{\"a\":\"\\u12g4\"}",
                                 "{\"a\":\"\\u-123\"}",
                                 "{\"a\":\"\\ud800\"}",
                                 "{\"a\":\"\\ud800\\u0041\"}",
                                 "{\"a\":\"\\udc00\"}",
                                 "{\"a\":\"\\ud800x\"}",
                                 "{\"a\":\"\\",
                                 "{\"a\":\"\\u",
                                 "{\"a\":\"\xFF\"}",
                                 "{\"a\":\"\x80\"}",
                                 "{\"a\":\"\xC3\"}",
                                 "{\"a\":\"\xC3",
                                 "{\"a\":\"\xC0\x80\"}",
                                 "{\"a\":\"\xE0\x80\x80\"}",
                                 "{\"a\":\"\xED\xA0\x80\"}",
                                 "{\"a\":\"\xF0\x80\x80\x80\"}",
                                 "{\"a\":\"\xF4\x90\x80\x80\"}",
                                 "{\"a\":\"\xF5\x80\x80\x80\"}",
                                 "\xEF\xBB\xBF{}"};
    for (const std::string& text : texts) {
        EXPECT_THROW(JsonObject::parse(text), JsonException) << text;
    }
}

/// Numbers that are not 64-bit integers, and that would change if written differently or read as a double.
const std::vector<std::string> kOddNumbers{
    "1.50",
    "1.0",
    "-0.0",
    "1e3",
    "1E+2",
    "1e999",
    "1e-400",
    "100000000000000000000001",
    "-1e99999999999999999999",
};

TEST(JsonObjectParse, GivesTheTextOfANumberAsItStands) {
    for (const std::string& number : kOddNumbers) {
        EXPECT_EQ(objectWith(number)->getString("key"), number);
    }
}

TEST(JsonObjectParse, WritesANumberAsItWasRead) {
    for (const std::string& number : kOddNumbers) {
        EXPECT_EQ(objectWith(number)->toString(), "{\"key\":" + number + "}");
    }
}

TEST(JsonObjectParse, MakesADoubleOfANumberForUsersOfTheTree) {
    EXPECT_EQ(objectWith("-1.50e1")->getTree()->getValue<double>("key"), -15.0);
}

TEST(JsonObjectParse, MakesAFloatOfANumberForUsersOfTheTree) {
    EXPECT_EQ(objectWith("1.50")->getTree()->getValue<float>("key"), 1.5F);
}

TEST(JsonObjectParse, MakesNoDoubleOfANumberBeyondTheDoubles) {
    EXPECT_THROW(objectWith("1e999")->getTree()->getValue<double>("key"), Poco::RangeException);
}

TEST(JsonObjectParse, ReadsWhatItWroteLikeAnIndependentReader) {
    const std::string text = R"({"a":[0,-1,1.5,12345678901],"b":{"c":"d\u00e4\n"},"e":null,"f":true})";
    Poco::JSON::Parser parser;
    const auto independent = parser.parse(text).extract<Poco::JSON::Object::Ptr>();
    EXPECT_EQ(JsonObject::parse(text)->toString(), JsonObject(independent).toString());
}

}  // namespace
