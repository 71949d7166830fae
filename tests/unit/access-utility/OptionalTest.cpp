#include <gtest/gtest.h>
#include <zebutil/Optional.h>

#include <stdexcept>
#include <string>
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

}  // namespace
