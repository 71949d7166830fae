#include <gtest/gtest.h>
#include <internal/TextPlaces.h>

#include <cstddef>
#include <string>

namespace {

using internal::TextPlaces;

TEST(TextPlaces, CountLinesAndBytesFromOne) {
    const TextPlaces sut("ab\ncd");
    EXPECT_EQ(sut.of(0).text(), "line 1, column 1");
    EXPECT_EQ(sut.of(4).text(), "line 2, column 2");
}

TEST(TextPlaces, HaveThePlaceBehindTheTextAndNoneBeyond) {
    const TextPlaces sut("ab\n");
    EXPECT_EQ(sut.of(3).text(), "line 2, column 1");
    EXPECT_EQ(sut.of(1000).text(), "line 2, column 1");
    EXPECT_EQ(sut.inCharacters(1000).text(), "line 2, column 1");
}

TEST(TextPlaces, CountCharactersIfAsked) {
    const std::string text = "\n\xC3\xA4\xE5\xA4\xA7\xF0\x9F\x9A\x97x";  // ä, 大, a car
    const TextPlaces sut(text);
    const std::size_t byte = text.find('x');
    EXPECT_EQ(sut.of(byte).text(), "line 2, column 10");
    EXPECT_EQ(sut.inCharacters(byte).text(), "line 2, column 4");
}

TEST(TextPlaces, AreRightBeyondManyBlocks) {
    std::string text;
    for (int line = 0; line < 5000; ++line) {
        text += "\xC3\xA4 line\n";
    }
    text += "\xC3\xA4";
    text += "end";
    const TextPlaces sut(text);
    EXPECT_EQ(sut.inCharacters(text.find("end")).text(), "line 5001, column 2");
}

TEST(TextPlaces, AreRightInALineOfManyBlocks) {
    std::string text = "\n";
    for (int character = 0; character < 5000; ++character) {
        text += "\xE5\xA4\xA7";  // 大
    }
    text += "end";
    const TextPlaces sut(text);
    EXPECT_EQ(sut.of(text.find("end")).text(), "line 2, column 15001");
    EXPECT_EQ(sut.inCharacters(text.find("end")).text(), "line 2, column 5001");
}

}  // namespace
