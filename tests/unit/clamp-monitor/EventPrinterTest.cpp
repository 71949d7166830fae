#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string>

#include "EventPrinter.h"

namespace {

using std::chrono::microseconds;

class EventPrinterTest : public testing::Test {
 protected:
    EventPrinterTest() {
        setenv("TZ", "UTC-2", 1);  // two hours east, so that local time and UTC differ
        tzset();
    }

    EventPrinter makeSut(EventPrinter::Format format) {
        // 2026-01-31, 12:34:56.123456 UTC
        return {stream, format, [] { return EventPrinter::Time(microseconds(1769862896123456)); },
                [this] { ++timesLost; }};
    }

    std::ostringstream stream;
    int timesLost = 0;
};

TEST_F(EventPrinterTest, WritesLocalTimeEventAndValueInColumns) {
    EventPrinter sut = makeSut(EventPrinter::Format::Text);
    sut.connection(true);
    sut.clamp15(false);
    EXPECT_EQ(stream.str(),
              "14:34:56.123  connection    connected\n"
              "14:34:56.123  clamp15       off\n");
}

TEST_F(EventPrinterTest, WritesNoBlanksAfterAnEventWithoutValue) {
    makeSut(EventPrinter::Format::Text).notification();
    EXPECT_EQ(stream.str(), "14:34:56.123  notification\n");
}

TEST_F(EventPrinterTest, ColoursEventAndValue) {
    makeSut(EventPrinter::Format::ColouredText).connection(false);
    EXPECT_EQ(stream.str(), "14:34:56.123  \033[31mconnection    disconnected\033[0m\n");
}

TEST_F(EventPrinterTest, WritesAnObjectPerLineAsJson) {
    EventPrinter sut = makeSut(EventPrinter::Format::Json);
    sut.connection(false);
    sut.subscribed("1");
    sut.notification();
    sut.clamp15(true);
    sut.stopped();
    const std::string begin = "{\"ts\":\"2026-01-31T12:34:56.123456Z\",\"event\":";
    EXPECT_EQ(stream.str(), begin + "\"connection\",\"value\":false}\n" +  //
                                begin + "\"subscribed\",\"value\":\"1\"}\n" + begin +
                                "\"notification\",\"value\":null}\n" + begin +
                                "\"clamp15\",\"value\":true}\n" + begin + "\"stopped\",\"value\":null}\n");
}

TEST_F(EventPrinterTest, EscapesTheUuidInJson) {
    makeSut(EventPrinter::Format::Json).subscribed("a\"b\\c\n");
    EXPECT_NE(stream.str().find(R"("a\"b\\c\u000a")"), std::string::npos);
}

TEST_F(EventPrinterTest, EscapesInJsonWhatATerminalWouldObey) {
    makeSut(EventPrinter::Format::Json).subscribed("\033[2J\x7f\u009b");
    EXPECT_NE(stream.str().find(R"("\u001b[2J\u007f\u009b")"), std::string::npos) << stream.str();
}

TEST_F(EventPrinterTest, EscapesEveryControlCharacterOfAsciiForATerminal) {
    EventPrinter sut = makeSut(EventPrinter::Format::Text);
    for (int code = 0; code <= 0x7f; ++code) {
        sut.subscribed(std::string(1, static_cast<char>(code)));
    }
    std::size_t controlCharacters = 0;
    for (const char character : stream.str()) {
        controlCharacters += (character < 0x20 && character != '\n') || character == 0x7f ? 1 : 0;
    }
    EXPECT_EQ(controlCharacters, 0U);
}

TEST_F(EventPrinterTest, KeepsToOneLineWhateverTheUuid) {
    makeSut(EventPrinter::Format::Text).subscribed("a\nb\r\x7f");
    EXPECT_EQ(stream.str(), "14:34:56.123  subscribed    a\\u000ab\\u000d\\u007f\n");
}

TEST_F(EventPrinterTest, EscapesTheControlCharactersBeyondAsciiForATerminal) {
    makeSut(EventPrinter::Format::Text).subscribed("\u0080\u009b\u009f");
    EXPECT_EQ(stream.str(), "14:34:56.123  subscribed    \\u0080\\u009b\\u009f\n");
}

TEST_F(EventPrinterTest, LeavesLettersBeyondAsciiAsTheyAre) {
    makeSut(EventPrinter::Format::Text).subscribed("\u00a0\u00c2\u015b");
    EXPECT_EQ(stream.str(), "14:34:56.123  subscribed    \u00a0\u00c2\u015b\n");
}

TEST_F(EventPrinterTest, EscapesWhatCannotBeSeen) {
    makeSut(EventPrinter::Format::Text).subscribed("a\u202eb\u2028c\ufeffd\u200be");
    EXPECT_EQ(stream.str(), "14:34:56.123  subscribed    a\\u202eb\\u2028c\\ufeffd\\u200be\n");
}

TEST_F(EventPrinterTest, EscapesWhatCannotBeSeenInJsonWithItsSurrogates) {
    makeSut(EventPrinter::Format::Json).subscribed("\u202e\U000e0041");
    EXPECT_NE(stream.str().find(R"("\u202e\udb40\udc41")"), std::string::npos) << stream.str();
}

TEST_F(EventPrinterTest, PutsAReplacementWhereTheUuidIsNotUtf8) {
    makeSut(EventPrinter::Format::Json).subscribed("a\xc2");
    EXPECT_NE(stream.str().find(R"("a\ufffd")"), std::string::npos) << stream.str();
}

TEST_F(EventPrinterTest, CutsALongUuidAndSaysSo) {
    makeSut(EventPrinter::Format::Text).subscribed(std::string(1'048'576, 'x'));
    EXPECT_EQ(stream.str(),
              "14:34:56.123  subscribed    " + std::string(1'000, 'x') + "... (1047576 bytes cut)\n");
}

TEST_F(EventPrinterTest, PrintsAUuidOfAThousandBytesAsItIs) {
    makeSut(EventPrinter::Format::Text).subscribed(std::string(1'000, 'x'));
    EXPECT_EQ(stream.str(), "14:34:56.123  subscribed    " + std::string(1'000, 'x') + "\n");
}

TEST_F(EventPrinterTest, EscapesTheUuidInColouredTextToo) {
    makeSut(EventPrinter::Format::ColouredText).subscribed("\033[0m");
    EXPECT_EQ(stream.str(), "14:34:56.123  \033[36msubscribed    \\u001b[0m\033[0m\n");
}

TEST_F(EventPrinterTest, WritesTheReasonOfAnUnknownState) {
    makeSut(EventPrinter::Format::Text).unknown("service \"ClampControl\" disconnected");
    EXPECT_EQ(stream.str(), "14:34:56.123  unknown       service \"ClampControl\" disconnected\n");
}

TEST_F(EventPrinterTest, WritesTheReasonOfAnUnknownStateInPlaceOfTheValueAsJson) {
    makeSut(EventPrinter::Format::Json).unknown("service \"ClampControl\" disconnected");
    EXPECT_EQ(stream.str(),
              "{\"ts\":\"2026-01-31T12:34:56.123456Z\",\"event\":\"unknown\","
              "\"reason\":\"service \\\"ClampControl\\\" disconnected\"}\n");
}

TEST_F(EventPrinterTest, KeepsToOneLineWhateverTheReason) {
    makeSut(EventPrinter::Format::Text).unknown("a\nb\033[2J");
    EXPECT_EQ(stream.str(), "14:34:56.123  unknown       a\\nb\\x1b[2J\n");
}

TEST_F(EventPrinterTest, LeavesAReasonThatIsEscapedAsItIs) {
    makeSut(EventPrinter::Format::Text).unknown(R"(the key "\u000a" of C:\x)");
    EXPECT_EQ(stream.str(), "14:34:56.123  unknown       the key \"\\u000a\" of C:\\x\n");
}

TEST_F(EventPrinterTest, WritesAllOfTheLongestReason) {
    const std::string longest = std::string(1'000, '"') + "... (5 bytes cut)";
    makeSut(EventPrinter::Format::Json).unknown(longest);
    EXPECT_NE(stream.str().find("... (5 bytes cut)\"}"), std::string::npos) << stream.str();
}

TEST_F(EventPrinterTest, TellsOnceThatTheOutputIsLost) {
    EventPrinter sut = makeSut(EventPrinter::Format::Text);
    stream.setstate(std::ios::badbit);
    sut.notification();
    sut.notification();
    EXPECT_EQ(timesLost, 1);
}

}  // namespace
