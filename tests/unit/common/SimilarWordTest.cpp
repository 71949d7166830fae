#include <gtest/gtest.h>
#include <internal/SimilarWord.h>

#include <string>

namespace {

using internal::mistypedWord;
using internal::similarWord;
using internal::Words;

const Words& keys() {
    static const Words words{"isSwitchedOn", "type", "requestingFunction"};
    return words;
}

TEST(SimilarWord, IsFoundForAnotherCaseAndOtherSigns) {
    EXPECT_EQ(similarWord("is_switched_on", keys()), "isSwitchedOn");
    EXPECT_EQ(similarWord("Type", keys()), "type");
}

TEST(SimilarWord, IsFoundForTwoTypingMistakes) {
    EXPECT_EQ(similarWord("isSwichedOnn", keys()), "isSwitchedOn");
    EXPECT_EQ(mistypedWord("isSwichedOnn", keys(), 1), "");
}

TEST(SimilarWord, IsFoundForExchangedNeighbours) {
    EXPECT_EQ(mistypedWord("tpye", keys(), 1), "type");
}

TEST(SimilarWord, IsTheOneWithTheLongestBeginningInCommon) {
    EXPECT_EQ(similarWord("Clamp75", {"Clamp15", "ClampS", "Clamp75_X"}), "Clamp75_X");
}

TEST(SimilarWord, IsFoundForAPart) {
    EXPECT_EQ(similarWord("function", keys()), "requestingFunction");
    EXPECT_EQ(similarWord("typeOfClamp", keys()), "type");
}

TEST(SimilarWord, IsNotFoundForAnotherWordOrAVeryLongOne) {
    EXPECT_EQ(similarWord("colour", keys()), "");
    EXPECT_EQ(similarWord("", keys()), "");
    EXPECT_EQ(similarWord(std::string(1'000'000, 'x'), keys()), "");
}

}  // namespace
