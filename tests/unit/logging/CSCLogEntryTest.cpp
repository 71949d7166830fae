#include <csc_logging/CSCLogEntry.h>
#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <locale>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using csc_logging::CSCLogEntry;

template <typename Piece, typename = void>
struct TakesExactly : std::false_type {};
template <typename Piece>
struct TakesExactly<Piece, std::void_t<decltype(std::declval<CSCLogEntry&>() << std::declval<Piece>())>>
    : std::true_type {};

TEST(CSCLogEntry, StartsEmpty) {
    EXPECT_EQ(CSCLogEntry().Get(), "");
}

TEST(CSCLogEntry, CopiesAString) {
    const std::string text = "ignition";
    const CSCLogEntry sut(text);
    EXPECT_EQ(sut.Get(), "ignition");
    EXPECT_EQ(text, "ignition");
}

TEST(CSCLogEntry, TakesOverAMovedStringAndLeavesTheSourceEmpty) {
    std::string text = "a text that is longer than what a short string holds in place";
    const CSCLogEntry sut(std::move(text));
    EXPECT_EQ(sut.Get(), "a text that is longer than what a short string holds in place");
    EXPECT_EQ(text, "");  // NOLINT(bugprone-use-after-move): this is what the class promises
}

TEST(CSCLogEntry, LeavesAShortMovedStringEmptyToo) {
    std::string text = "short";
    const CSCLogEntry sut(std::move(text));
    EXPECT_EQ(text, "");  // NOLINT(bugprone-use-after-move)
}

TEST(CSCLogEntry, CopiesANulTerminatedText) {
    EXPECT_EQ(CSCLogEntry("clamp").Get(), "clamp");
}

TEST(CSCLogEntry, RefusesANullPointer) {
    const char* const nothing = nullptr;
    EXPECT_THROW(CSCLogEntry{nothing}, std::logic_error);
}

TEST(CSCLogEntry, AppendsAStringAsItIs) {
    CSCLogEntry sut("a");
    sut << std::string("b\0c", 3);
    EXPECT_EQ(sut.Get(), std::string("ab\0c", 4));
}

TEST(CSCLogEntry, AppendsANulTerminatedText) {
    CSCLogEntry sut("a");
    sut << "b c";
    EXPECT_EQ(sut.Get(), "ab c");
}

TEST(CSCLogEntry, InsertsNothingBetweenPieces) {
    CSCLogEntry sut;
    sut << "x" << 1 << 2L << std::string("y") << 3u;
    EXPECT_EQ(sut.Get(), "x12y3");
}

TEST(CSCLogEntry, ReturnsItselfFromEveryAppender) {
    CSCLogEntry sut;
    EXPECT_EQ(&(sut << std::string()), &sut);
    EXPECT_EQ(&(sut << ""), &sut);
    EXPECT_EQ(&(sut << 1), &sut);
    EXPECT_EQ(&(sut << 1L), &sut);
    EXPECT_EQ(&(sut << 1u), &sut);
    EXPECT_EQ(&(sut << static_cast<unsigned short>(1)), &sut);
    EXPECT_EQ(&(sut << static_cast<unsigned char>(1)), &sut);
    EXPECT_EQ(&sut.insertAsHex(1), &sut);
}

TEST(CSCLogEntry, WritesZero) {
    CSCLogEntry sut;
    sut << 0 << 0L << 0u << static_cast<unsigned short>(0) << static_cast<unsigned char>(0);
    EXPECT_EQ(sut.Get(), "00000");
}

TEST(CSCLogEntry, WritesTheMostNegativeInt) {
    CSCLogEntry sut;
    sut << std::numeric_limits<int>::min();
    EXPECT_EQ(sut.Get(), "-2147483648");
}

TEST(CSCLogEntry, WritesTheLargestIntWithoutASign) {
    CSCLogEntry sut;
    sut << std::numeric_limits<int>::max();
    EXPECT_EQ(sut.Get(), "2147483647");
}

TEST(CSCLogEntry, WritesTheMostNegativeLong) {
    CSCLogEntry sut;
    sut << std::numeric_limits<long>::min();
    EXPECT_EQ(sut.Get(), "-9223372036854775808");
}

TEST(CSCLogEntry, WritesTheLargestLong) {
    CSCLogEntry sut;
    sut << std::numeric_limits<long>::max();
    EXPECT_EQ(sut.Get(), "9223372036854775807");
}

TEST(CSCLogEntry, WritesTheLargestUnsignedInt) {
    CSCLogEntry sut;
    sut << std::numeric_limits<unsigned int>::max();
    EXPECT_EQ(sut.Get(), "4294967295");
}

TEST(CSCLogEntry, WritesTheLargestUnsignedShort) {
    CSCLogEntry sut;
    sut << std::numeric_limits<unsigned short>::max();
    EXPECT_EQ(sut.Get(), "65535");
}

TEST(CSCLogEntry, WritesAnUnsignedCharAsANumberAndNotAsALetter) {
    CSCLogEntry sut;
    sut << static_cast<unsigned char>(65);
    EXPECT_EQ(sut.Get(), "65");
}

TEST(CSCLogEntry, WritesTheLargestUnsignedChar) {
    CSCLogEntry sut;
    sut << std::numeric_limits<unsigned char>::max();
    EXPECT_EQ(sut.Get(), "255");
}

TEST(CSCLogEntry, WritesEveryNumberOfDigitsAsTheStandardLibraryDoes) {
    for (long value = 1; value < std::numeric_limits<long>::max() / 10; value *= 10) {
        for (const long near : {value - 1, value, value + 1, -value}) {
            CSCLogEntry sut;
            sut << near;
            EXPECT_EQ(sut.Get(), std::to_string(near));
        }
    }
}

TEST(CSCLogEntry, WritesHexInLowerCaseWithoutLeadingZeros) {
    const std::pair<unsigned char, const char*> expected[] = {{0, "0x0"},   {10, "0xa"},    {15, "0xf"},
                                                              {16, "0x10"}, {0xAB, "0xab"}, {255, "0xff"}};
    for (const auto& [value, text] : expected) {
        CSCLogEntry sut;
        sut.insertAsHex(value);
        EXPECT_EQ(sut.Get(), text);
    }
}

TEST(CSCLogEntry, WritesNumbersRegardlessOfTheLocale) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    CSCLogEntry sut;
    sut << 1234567;
    std::locale::global(before);
    EXPECT_EQ(sut.Get(), "1234567");
}

TEST(CSCLogEntry, IsEmptyAfterClearAndStartsFromThere) {
    CSCLogEntry sut("before");
    sut.Clear();
    EXPECT_EQ(sut.Get(), "");
    sut << "after" << 1;
    EXPECT_EQ(sut.Get(), "after1");
}

TEST(CSCLogEntry, KeepsItsStorageWhenCleared) {
    CSCLogEntry sut(std::string(1000, 'x'));
    const auto capacity = sut.Get().capacity();
    sut.Clear();
    EXPECT_EQ(sut.Get().capacity(), capacity);
}

TEST(CSCLogEntry, TakesTheNamedTypesAndNoOtherNumbers) {
    EXPECT_TRUE(TakesExactly<int>::value);
    EXPECT_TRUE(TakesExactly<long>::value);
    EXPECT_TRUE(TakesExactly<unsigned int>::value);
    EXPECT_TRUE(TakesExactly<unsigned short>::value);
    EXPECT_TRUE(TakesExactly<unsigned char>::value);
    EXPECT_FALSE(TakesExactly<unsigned long>::value);
    EXPECT_FALSE(TakesExactly<long long>::value);
    EXPECT_FALSE(TakesExactly<double>::value);
}

}  // namespace
