#include <gtest/gtest.h>

#include <set>
#include <string>

#include "DltIds.h"

namespace {

using ara::log::dltDescription;
using ara::log::dltId;
using ara::log::freeDltId;

TEST(DltId, IsTheFirstFourCharacters) {
    EXPECT_EQ(dltId("Clamp Control"), "Clam");
}

TEST(DltId, IsTheWholeOfAShortName) {
    EXPECT_EQ(dltId("CSC"), "CSC");
}

TEST(DltId, HasUnderscoresInPlaceOfBlanksAndOtherBytes) {
    EXPECT_EQ(dltId("A B\n"), "A_B_");
    EXPECT_EQ(dltId("\xC3\xA4x"), "__x");
}

TEST(DltId, IsNeverEmpty) {
    EXPECT_EQ(dltId(""), "_");
}

TEST(DltId, IsTheNamesOwnWhileItIsFree) {
    EXPECT_EQ(freeDltId("Clamp", {"CSC"}), "Clam");
}

TEST(DltId, HasAnotherLastCharacterWhenItsOwnIsTaken) {
    EXPECT_EQ(freeDltId("Clamp", {"Clam"}), "Cla1");
}

TEST(DltId, IsLongerWhenAShortOneIsTaken) {
    EXPECT_EQ(freeDltId("_", {"_"}), "_1");
}

TEST(DltId, IsDifferentForManyNamesThatBeginAlike) {
    std::set<std::string> taken;
    for (int i = 0; i < 1000; ++i) {
        taken.insert(freeDltId("Clamp", taken));
    }
    EXPECT_EQ(taken.size(), 1000u);
}

TEST(DltId, NeverHasMoreThanFourCharacters) {
    std::set<std::string> taken;
    for (int i = 0; i < 1000; ++i) {
        taken.insert(freeDltId("Clamp", taken));
    }
    for (const std::string& id : taken) {
        EXPECT_LE(id.size(), 4u);
    }
}

TEST(DltDescription, IsTheDescriptionWhenTheIdSaysTheName) {
    EXPECT_EQ(dltDescription("CSC", "CSC", "Core Service Component"), "Core Service Component");
}

TEST(DltDescription, BeginsWithTheNameWhenTheIdCutsIt) {
    EXPECT_EQ(dltDescription("Clamp Control", "Clam", "CSC Component"), "Clamp Control: CSC Component");
}

TEST(DltDescription, IsTheNameAloneWithoutADescription) {
    EXPECT_EQ(dltDescription("Clamp", "Clam", ""), "Clamp");
}

}  // namespace
