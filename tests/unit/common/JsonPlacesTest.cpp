#include <gtest/gtest.h>
#include <internal/JsonPlaces.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using internal::JsonPlace;
using internal::JsonPlaces;

std::vector<std::string> membersOf(std::string_view text) {
    const JsonPlaces sut(text);
    std::vector<std::string> members;
    sut.forEachMember(sut.root(), [&](const JsonPlace& key, const JsonPlace& value) {
        members.push_back(std::to_string(key.begin) + " " + std::string(sut.text(key)) + " " +
                          std::to_string(value.begin) + " " + std::string(sut.text(value)));
    });
    return members;
}

TEST(JsonPlaces, GiveEachKeyAndItsValue) {
    const std::vector<std::string> expected{R"(2 "a" 8 [1, "]"])", R"(20 "b\"" 26 {"c": null})"};
    EXPECT_EQ(membersOf(R"({ "a" : [1, "]"]  , "b\"":{"c": null}} )"), expected);
}

TEST(JsonPlaces, GiveTheMembersOfATextWithoutWhiteSpace) {
    const std::vector<std::string> expected{R"(1 "a" 5 -1.5e3)", R"(12 "b" 16 true)"};
    EXPECT_EQ(membersOf(R"({"a":-1.5e3,"b":true})"), expected);
}

TEST(JsonPlaces, GiveNothingOfWhatIsEmpty) {
    EXPECT_TRUE(membersOf("{ }").empty());
}

TEST(JsonPlaces, TellTheKindOfEachEntry) {
    const JsonPlaces sut(R"([{}, [], "", 0, false, null])");
    std::vector<JsonPlace::Kind> kinds;
    sut.forEachElement(sut.root(), [&](const JsonPlace& entry) { kinds.push_back(entry.kind); });
    using Kind = JsonPlace::Kind;
    const std::vector<Kind> expected{Kind::Object, Kind::Array,   Kind::String,
                                     Kind::Number, Kind::Boolean, Kind::Null};
    EXPECT_EQ(kinds, expected);
}

}  // namespace
