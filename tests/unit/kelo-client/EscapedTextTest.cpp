#include <gtest/gtest.h>
#include <internal/EscapedText.h>

#include <ostream>
#include <string>
#include <string_view>

namespace {

using internal::escapedText;
using internal::isPlainText;

TEST(EscapedText, LeavesAnOrdinaryTextAsItIs) {
    EXPECT_EQ(escapedText(R"(task "x" threw: C:\n 100 %~)"), R"(task "x" threw: C:\n 100 %~)");
}

TEST(EscapedText, LeavesWhatItHasEscapedAsItIs) {
    const std::string once = escapedText("\x1b[2J\n\xff");
    EXPECT_EQ(escapedText(once), once);
}

struct Case {
    const char* name;
    std::string_view text;
    std::string_view escaped;
};

void PrintTo(const Case& example, std::ostream* stream) {
    *stream << example.name;
}

class EscapedTextOf : public testing::TestWithParam<Case> {};

using namespace std::string_view_literals;

INSTANTIATE_TEST_SUITE_P(IsSafe, EscapedTextOf,
                         testing::Values(Case{"LineBreaks", "a\r\n\tb"sv, R"(a\r\n\tb)"sv},
                                         Case{"TerminalSequence", "\x1b[31m"sv, R"(\x1b[31m)"sv},
                                         Case{"Nul", "a\0b"sv, R"(a\x00b)"sv},
                                         Case{"Delete", "\x7f"sv, R"(\x7f)"sv},
                                         Case{"C1Control", "\xc2\x9b"sv, R"(\u009b)"sv},
                                         Case{"OtherLanguages", "Zündung 点火"sv, "Zündung 点火"sv},
                                         Case{"LargestCharacter", "\xf4\x8f\xbf\xbf"sv, "\xf4\x8f\xbf\xbf"sv},
                                         Case{"RightToLeftOverride", "\u202egnp.exe"sv, R"(\u202egnp.exe)"sv},
                                         Case{"Isolate", "\u2066a\u2069"sv, R"(\u2066a\u2069)"sv},
                                         Case{"LineSeparator", "a\u2028b\u2029"sv, R"(a\u2028b\u2029)"sv},
                                         Case{"ByteOrderMark", "\ufeff"sv, R"(\ufeff)"sv},
                                         Case{"TagCharacter", "\U000e0041"sv, R"(\U000e0041)"sv},
                                         Case{"LoneContinuation", "a\x80"sv, R"(a\x80)"sv},
                                         Case{"BrokenOff", "\xe2\x82"sv, R"(\xe2\x82)"sv},
                                         Case{"Overlong", "\xc0\x8a"sv, R"(\xc0\x8a)"sv},
                                         Case{"OverlongOfThree", "\xe0\x80\x8a"sv, R"(\xe0\x80\x8a)"sv},
                                         Case{"Surrogate", "\xed\xa0\x80"sv, R"(\xed\xa0\x80)"sv},
                                         Case{"BeyondUnicode", "\xf4\x90\x80\x80"sv, R"(\xf4\x90\x80\x80)"sv},
                                         Case{"NeverInUtf8", "\xff\xfe"sv, R"(\xff\xfe)"sv}),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(EscapedTextOf, IsAsExpected) {
    EXPECT_EQ(escapedText(GetParam().text), GetParam().escaped);
}

TEST(EscapedText, IsNotCutWhenItJustFits) {
    EXPECT_EQ(escapedText(std::string(100, 'x'), 100), std::string(100, 'x'));
}

TEST(EscapedText, SaysHowManyBytesAreMissing) {
    EXPECT_EQ(escapedText(std::string(1'000'000, 'x'), 100), std::string(60, 'x') + "... (999940 bytes cut)");
}

TEST(EscapedText, NeverExceedsItsLimit) {
    for (std::size_t length = 0; length < 300; ++length) {
        EXPECT_LE(escapedText(std::string(length, '\x01'), 100).size(), 100U) << length;
    }
}

TEST(EscapedText, IsCutBetweenTwoCharacters) {
    std::string text;
    for (int count = 0; count < 100; ++count) {
        text += "点";
    }
    EXPECT_EQ(escapedText(text, 100).substr(57), "点... (240 bytes cut)");
}

TEST(PlainText, IsPrintableAsciiWithinTheLimit) {
    EXPECT_TRUE(isPlainText(" ~", 2));
    EXPECT_FALSE(isPlainText("abc", 2));
    EXPECT_FALSE(isPlainText("\n", 2));
    EXPECT_FALSE(isPlainText("\x7f", 2));
    EXPECT_FALSE(isPlainText("ü", 2));
}

}  // namespace
