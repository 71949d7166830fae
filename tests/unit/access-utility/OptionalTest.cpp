#include <gtest/gtest.h>
#include <zebutil/Optional.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using zebutil::Optional;

Optional<std::string> optionalOf(const std::string& text) {
    return Optional<std::string>(&text);
}

TEST(Optional, IsEmptyWhenItWasBuiltFromNothing) {
    EXPECT_FALSE(Optional<int>().hasValue());
}

TEST(Optional, IsEmptyWhenItWasBuiltFromANullPointer) {
    EXPECT_FALSE(Optional<int>(nullptr));
}

TEST(Optional, CopiesTheValueThatItIsBuiltFrom) {
    std::string text = "before";
    const Optional<std::string> sut(&text);
    text = "after";
    EXPECT_EQ(sut.getValue(), "before");
}

TEST(Optional, ThrowsWithItsTextWhenAnEmptyOneIsRead) {
    try {
        Optional<int>().getValue();
        FAIL() << "did not throw";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "getValue called on uninitialized Optional");
    }
}

TEST(Optional, HasAValueOfItsOwnAfterACopy) {
    auto original = optionalOf("x");
    const Optional<std::string> sut = original;
    original.setValue(std::string("y"));
    EXPECT_EQ(sut.getValue(), "x");
}

TEST(Optional, IsEmptyAfterAnEmptyOneWasAssigned) {
    auto sut = optionalOf("x");
    sut = Optional<std::string>();
    EXPECT_FALSE(sut.hasValue());
}

TEST(Optional, HasACopyOfWhatWasAssigned) {
    const auto other = optionalOf("x");
    Optional<std::string> sut;
    sut = other;
    EXPECT_EQ(sut.getValue(), "x");
}

TEST(Optional, KeepsItsValueWhenItIsAssignedToItself) {
    auto sut = optionalOf("x");
    const auto& itself = sut;
    sut = itself;
    EXPECT_EQ(sut.getValue(), "x");
}

TEST(Optional, TakesTheValueOfWhatItIsMovedFrom) {
    auto other = optionalOf("x");
    const Optional<std::string> sut = std::move(other);
    EXPECT_EQ(sut.getValue(), "x");
}

TEST(Optional, ReplacesItsCellWhenAValueIsSet) {
    auto sut = optionalOf("x");
    const std::string copy = sut.getValue();
    sut.setValue(std::string("y"));
    EXPECT_EQ(copy + sut.getValue(), "xy");
}

TEST(Optional, LeavesItsCellAsItIsWhenItIsSetToItself) {
    auto sut = optionalOf("x");
    const std::string* const cell = &sut.getValue();
    sut.setValue(sut.getValue());
    EXPECT_EQ(&sut.getValue(), cell);
}

TEST(Optional, CanBeSetToAPartOfItself) {
    struct Nested {
        std::vector<Nested> inner;
        int number = 0;
    };
    Nested outer;
    outer.inner.push_back({{}, 7});
    Optional<Nested> sut(&outer);
    sut.setValue(sut.getValue().inner.front());
    EXPECT_EQ(sut.getValue().number, 7);
}

TEST(Optional, IsEmptyAfterReset) {
    auto sut = optionalOf("x");
    sut.reset();
    EXPECT_FALSE(sut.hasValue());
}

TEST(Optional, IsAsLargeAsAPointer) {
    EXPECT_EQ(sizeof(Optional<std::string>), sizeof(void*));
}

TEST(Optional, CanBeDeclaredOfATypeThatIsNotComplete) {
    struct Node {
        Optional<Node> next;
    };
    EXPECT_FALSE(Node().next.hasValue());
}

template <typename T>
Optional<T> filled(const T& value) {
    return Optional<T>(&value);
}

enum class Colour { Red, Green };

std::string to_string(Colour colour) {
    return colour == Colour::Red ? "red" : "green";
}

struct Unprintable {
    int number = 0;
};

// What does not compile

template <typename T>
constexpr bool kIsBuiltFromAValue =
    std::is_constructible_v<Optional<T>, int> || std::is_constructible_v<Optional<T>, long> ||
    std::is_constructible_v<Optional<T>, std::size_t> || std::is_constructible_v<Optional<T>, bool> ||
    std::is_constructible_v<Optional<T>, char> || std::is_constructible_v<Optional<T>, double> ||
    std::is_constructible_v<Optional<T>, decltype(NULL)> || std::is_constructible_v<Optional<T>, T>;

TEST(Optional, IsNotBuiltFromAValue) {
    EXPECT_FALSE(kIsBuiltFromAValue<long>);
    EXPECT_FALSE(kIsBuiltFromAValue<bool>);
    EXPECT_FALSE(kIsBuiltFromAValue<double>);
    EXPECT_FALSE(kIsBuiltFromAValue<std::string>);
    EXPECT_FALSE((std::is_constructible_v<Optional<Colour>, Colour>));
}

// A type trait does not see that a literal 0 is a null pointer.
template <typename T, typename = void>
constexpr bool kIsBuiltFromLiteralZero = false;
template <typename T>
constexpr bool kIsBuiltFromLiteralZero<T, std::void_t<decltype(Optional<T>(0))>> = true;
template <typename T, typename = void>
constexpr bool kIsBuiltFromLiteralZeroInBraces = false;
template <typename T>
constexpr bool kIsBuiltFromLiteralZeroInBraces<T, std::void_t<decltype(Optional<T>{0L})>> = true;

TEST(Optional, IsNotBuiltFromALiteralZero) {
    EXPECT_FALSE(kIsBuiltFromLiteralZero<long>);
    EXPECT_FALSE(kIsBuiltFromLiteralZero<std::string>);
    EXPECT_FALSE(kIsBuiltFromLiteralZeroInBraces<long>);
    EXPECT_FALSE(kIsBuiltFromLiteralZeroInBraces<bool>);
}

TEST(Optional, DoesNotTurnIntoAPlainValueOrPointerByItself) {
    EXPECT_FALSE((std::is_convertible_v<Optional<long>, long>));
    EXPECT_FALSE((std::is_convertible_v<Optional<long>, bool>));
    EXPECT_FALSE((std::is_convertible_v<long*, Optional<long>>));
    EXPECT_FALSE((std::is_convertible_v<std::nullptr_t, Optional<long>>));
}

template <typename T, typename = void>
constexpr bool kCanBeACondition = false;
template <typename T>
constexpr bool kCanBeACondition<T, std::void_t<decltype(std::declval<const T&>() ? 1 : 0)>> = true;
template <typename T, typename = void>
constexpr bool kCanBeNegated = false;
template <typename T>
constexpr bool kCanBeNegated<T, std::void_t<decltype(!std::declval<const T&>())>> = true;

TEST(Optional, CanBeAConditionUnlessItsValueIsABoolean) {
    EXPECT_TRUE(kCanBeACondition<Optional<long>> && kCanBeNegated<Optional<long>>);
    EXPECT_FALSE(kCanBeACondition<Optional<bool>> || kCanBeNegated<Optional<bool>>);
    EXPECT_FALSE((std::is_constructible_v<bool, Optional<bool>>));
}

TEST(Optional, OfABooleanSaysWhetherThereIsAValue) {
    EXPECT_TRUE(filled(false).hasValue());
    EXPECT_FALSE(Optional<bool>().hasValue());
}

// valueOr

TEST(Optional, GivesItsValueRatherThanTheFallback) {
    EXPECT_EQ(optionalOf("x").valueOr("y"), "x");
    EXPECT_FALSE(filled(false).valueOr(true));
}

TEST(Optional, GivesTheFallbackWhenItIsEmpty) {
    EXPECT_EQ(Optional<std::string>().valueOr("y"), "y");
    EXPECT_EQ(Optional<std::int64_t>().valueOr(-1), -1);
    EXPECT_EQ(Optional<std::string>().valueOr({}), "");
}

TEST(Optional, GivesACopyThatOutlivesIt) {
    auto sut = optionalOf("x");
    const std::string& text = sut.valueOr("y");
    sut.reset();
    EXPECT_EQ(text, "x");
}

template <typename T, typename U, typename = void>
constexpr bool kIsFallback = false;
template <typename T, typename U>
constexpr bool
    kIsFallback<T, U, std::void_t<decltype(std::declval<Optional<T>>().valueOr(std::declval<U>()))>> = true;

TEST(Optional, TakesOnlyAFallbackThatIsAValue) {
    EXPECT_TRUE((kIsFallback<std::string, const char*>));
    EXPECT_FALSE((kIsFallback<std::string, int>));
    EXPECT_TRUE((kIsFallback<bool, bool>));
    EXPECT_FALSE((kIsFallback<bool, Optional<bool>>));
    EXPECT_FALSE((kIsFallback<bool, const char*>));
    EXPECT_FALSE((kIsFallback<bool, int>));
}

// Comparison

TEST(Optional, EqualsAnotherOneWithAnEqualValue) {
    EXPECT_TRUE(optionalOf("x") == optionalOf("x"));
    EXPECT_FALSE(optionalOf("x") == optionalOf("y"));
    EXPECT_TRUE(optionalOf("x") != optionalOf("y"));
}

TEST(Optional, EqualsAnEmptyOneOnlyIfItIsEmpty) {
    EXPECT_TRUE(Optional<bool>() == Optional<bool>());
    EXPECT_FALSE(filled(false) == Optional<bool>());
    EXPECT_TRUE(Optional<bool>() != filled(false));
}

TEST(Optional, EqualsAnEqualValueOnEitherSide) {
    EXPECT_TRUE(optionalOf("x") == "x");
    EXPECT_TRUE("x" == optionalOf("x"));
    EXPECT_TRUE(optionalOf("x") != std::string("y"));
    EXPECT_TRUE("y" != optionalOf("x"));
    EXPECT_TRUE(filled(std::int64_t{0}) == 0);
    EXPECT_TRUE(filled(Colour::Green) == Colour::Green);
}

TEST(Optional, EqualsNoValueWhenItIsEmpty) {
    EXPECT_FALSE(Optional<bool>() == false);
    EXPECT_TRUE(Optional<bool>() != false);
    EXPECT_TRUE(0 != Optional<std::int64_t>());
}

template <typename T, typename U, typename = void>
constexpr bool kCanBeCompared = false;
template <typename T, typename U>
constexpr bool kCanBeCompared<T, U, std::void_t<decltype(std::declval<T>() == std::declval<U>())>> = true;

TEST(Optional, CannotBeComparedWithWhatIsNoValue) {
    EXPECT_FALSE((kCanBeCompared<Optional<std::string>, std::nullptr_t>));
    EXPECT_FALSE((kCanBeCompared<Optional<std::string>, int>));
    EXPECT_FALSE((kCanBeCompared<Optional<long>, std::nullptr_t>));
    EXPECT_FALSE((kCanBeCompared<Optional<bool>, const char*>));
    EXPECT_FALSE((kCanBeCompared<Optional<Colour>, int>));
    EXPECT_FALSE((kCanBeCompared<Optional<Unprintable>, Optional<Unprintable>>));
}

// Printing

template <typename T>
std::string printed(const Optional<T>& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

TEST(Optional, PrintsItsValue) {
    EXPECT_EQ(printed(optionalOf("a b")), "a b");
    EXPECT_EQ(printed(filled(std::int64_t{-5})), "-5");
    EXPECT_EQ(printed(filled(false)), "false");
}

TEST(Optional, PrintsThatItIsEmpty) {
    EXPECT_EQ(printed(Optional<bool>()), "optional invalid");
}

TEST(Optional, PrintsAnEnumerationAsToStringDoes) {
    EXPECT_EQ(printed(filled(Colour::Green)), "green");
}

TEST(Optional, PrintsTheValuesOfAList) {
    EXPECT_EQ(printed(filled(std::vector<std::string>{"a", "", "b"})), "[a, , b]");
    EXPECT_EQ(printed(filled(std::vector<Colour>{})), "[]");
    EXPECT_EQ(printed(filled(std::vector<std::vector<bool>>{{true}, {}})), "[[true], []]");
}

TEST(Optional, IsPrintedByGoogleTest) {
    EXPECT_EQ(testing::PrintToString(filled(Colour::Red)), "red");
    EXPECT_EQ(testing::PrintToString(Optional<Colour>()), "optional invalid");
}

TEST(Optional, OfAValueThatCannotBePrintedIsShownAsBytesByGoogleTest) {
    EXPECT_NE(testing::PrintToString(filled(Unprintable{7})).find("-byte object"), std::string::npos);
}

TEST(Optional, KeepsTheTypeOfTheStream) {
    EXPECT_TRUE(
        (std::is_same_v<decltype(std::declval<std::ofstream&>() << Optional<long>()), std::ofstream&>));
}

struct NotAStream {};

template <typename T, typename U, typename = void>
constexpr bool kCanBeShifted = false;
template <typename T, typename U>
constexpr bool kCanBeShifted<T, U, std::void_t<decltype(std::declval<T&>() << std::declval<U>())>> = true;

TEST(Optional, IsPrintedToStreamsOnly) {
    EXPECT_TRUE((kCanBeShifted<std::ostream, Optional<long>>));
    EXPECT_FALSE((kCanBeShifted<std::ostream, Optional<Unprintable>>));
    EXPECT_FALSE((kCanBeShifted<int, Optional<long>>));
    EXPECT_FALSE((kCanBeShifted<NotAStream, Optional<long>>));
}

}  // namespace
