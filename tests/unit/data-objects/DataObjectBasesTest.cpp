#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zeb/QueryOptions.h>
#include <zeb/XObject.h>
#include <zeb/XObjectDescriptor.h>
#include <zeb/ZebFilter.h>
#include <zebutil/JsonObject.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using zeb::QueryOptions;
using zeb::XObject;
using zeb::XObjectDescriptor;
using zeb::ZebFilter;
using zebutil::JsonObject;

using Level = QueryOptions::EXPAND_LEVEL;
constexpr auto kAscending = QueryOptions::SORTBY_OPERATOR::ASCENDING;
constexpr auto kDescending = QueryOptions::SORTBY_OPERATOR::DESCENDING;

TEST(ZebFilter, IsEmptyAtFirst) {
    EXPECT_TRUE(ZebFilter().isEmpty());
}

TEST(ZebFilter, GivesItsTermsAsTextInTheOrderInWhichTheyWereAdded) {
    ZebFilter sut;
    sut.add("string", std::string("a b"));
    sut.add("literal", "x");
    sut.add("bool", true);
    sut.add("integer", std::int64_t{-5});
    EXPECT_THAT(std::vector<ZebFilter::Term>(sut.begin(), sut.end()),
                ElementsAre(Pair("string", "a b"), Pair("literal", "x"), Pair("bool", "true"),
                            Pair("integer", "-5")));
}

TEST(ZebFilter, ReplacesTheValueOfAKeyThatIsThere) {
    ZebFilter sut;
    sut.add("a", std::string("1"));
    sut.add("b", std::string("2"));
    sut.add("a", false);
    EXPECT_THAT(std::vector<ZebFilter::Term>(sut.begin(), sut.end()),
                ElementsAre(Pair("a", "false"), Pair("b", "2")));
}

std::vector<QueryOptions::Option> optionsOf(const QueryOptions& options) {
    return {options.begin(), options.end()};
}

TEST(QueryOptions, AreNoneAtFirst) {
    EXPECT_TRUE(QueryOptions().isEmpty());
}

TEST(QueryOptions, HaveTheirFormsOnTheWire) {
    QueryOptions sut;
    sut.setFields({"a", "b"});
    sut.setExpand(Level::ONE);
    sut.setSortBy({{kAscending, "a"}, {kDescending, "b"}});
    sut.setLimit(10);
    sut.setOffset(20);
    EXPECT_THAT(optionsOf(sut),
                ElementsAre(Pair("$fields", "a,b"), Pair("$expand", "1"), Pair("$sortby", "+a,-b"),
                            Pair("$limit", "10"), Pair("$offset", "20")));
}

TEST(QueryOptions, ExpandTheGivenKeysOnly) {
    QueryOptions sut;
    sut.setExpand(Level::ALL, {"a", "b"});
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$expand", "8:a,b")));
}

TEST(QueryOptions, CanBeginAfterAnElement) {
    QueryOptions sut;
    sut.setOffset("17");
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$offset", "id:17")));
}

TEST(QueryOptions, AreTakenAwayByEmptyLists) {
    QueryOptions sut;
    sut.setFields({"a"});
    sut.setExpand(Level::ONE);
    sut.setSortBy({{kAscending, "a"}});
    sut.setFields({});
    sut.setExpand(Level::NONE, {"a"});
    sut.setSortBy({});
    EXPECT_TRUE(sut.isEmpty());
}

XObjectDescriptor aClamp() {
    return XObjectDescriptor("ClampControl", "clamps");
}

TEST(XObjectDescriptor, HasTheNamesThatItWasGiven) {
    EXPECT_EQ(aClamp().getServiceName(), "ClampControl");
    EXPECT_EQ(aClamp().getResourceName(), "clamps");
}

TEST(XObjectDescriptor, HasNoIdentityAtFirst) {
    const XObjectDescriptor sut;
    EXPECT_FALSE(sut.getId() || sut.getName() || sut.getUri());
}

TEST(XObjectDescriptor, AddsNoFilterTermForItsIdentity) {
    auto sut = aClamp();
    sut.setId("1");
    sut.setName("x");
    sut.setUri("/x/1");
    EXPECT_TRUE(sut.getFilter().isEmpty());
}

TEST(XObjectDescriptor, HasARelativeUriOfServiceResourceAndId) {
    auto sut = aClamp();
    sut.setId("1");
    EXPECT_EQ(sut.getRelativeUri(), "/ClampControl/clamps/1");
}

TEST(XObjectDescriptor, LeavesOutOfTheRelativeUriWhatItDoesNotKnow) {
    XObjectDescriptor sut;
    sut.setId("1");
    EXPECT_EQ(sut.getRelativeUri(), "/1");
    EXPECT_EQ(aClamp().getRelativeUri(), "/ClampControl/clamps");
}

TEST(XObjectDescriptor, WritesWhatItHasOfItsIdentityAsJson) {
    auto sut = aClamp();
    sut.setId("1");
    sut.setUri("/x/1");
    EXPECT_EQ(sut.getAsJson()->toString(), R"({"id":"1","uri":"/x/1"})");
}

TEST(XObjectDescriptor, WritesNoIdentityIntoABody) {
    auto sut = aClamp();
    sut.setId("1");
    EXPECT_EQ(sut.getAsZEBBody()->toString(), "{}");
}

TEST(XObjectDescriptor, RefersToAnElementByItsUri) {
    auto sut = aClamp();
    sut.setId("1");
    sut.setName("x");
    sut.setUri("/other/1");
    EXPECT_EQ(sut.getAsReference()->toString(), R"({"id":"1","name":"x","uri":"/other/1"})");
}

TEST(XObjectDescriptor, RefersToAnElementWithoutUriByItsRelativeOne) {
    auto sut = aClamp();
    sut.setId("1");
    sut.setName("x");
    EXPECT_EQ(sut.getAsReference()->toString(), R"({"id":"1","name":"x","uri":"/ClampControl/clamps/1"})");
}

TEST(XObjectDescriptor, DoesNotReferToAnElementWithoutName) {
    auto sut = aClamp();
    sut.setId("1");
    EXPECT_THROW(sut.getAsReference(), std::runtime_error);
}

/// Calls each operation with every argument, all of them different.
class XObjectDescriptorQueryOptions : public testing::Test {
 protected:
    using Options = std::vector<QueryOptions::Option>;

    /// The options that result from the arguments that most operations share, followed by `further`.
    static Options optionsWith(const Options& further) {
        Options options{{"$fields", "a,b"}, {"$expand", "8:c"}, {"$sortby", "-d,+e"}};
        options.insert(options.end(), further.begin(), further.end());
        return options;
    }

    Options optionsOfSut() const { return optionsOf(sut.getQueryOptions()); }

    const std::vector<std::string> fields{"a", "b"};
    const std::vector<std::string> expanded{"c"};
    const std::vector<QueryOptions::SortKey> sortBy{{kDescending, "d"}, {kAscending, "e"}};
    XObjectDescriptor sut{"ClampControl", "clamps"};
};

TEST_F(XObjectDescriptorQueryOptions, TakeFieldsAndLevel) {
    sut.setQueryOptions(fields, Level::ONE);
    EXPECT_THAT(optionsOfSut(), ElementsAre(Pair("$fields", "a,b"), Pair("$expand", "1")));
}

TEST_F(XObjectDescriptorQueryOptions, TakeExpandedFieldsAndSortKeys) {
    sut.setQueryOptions(fields, Level::ALL, expanded, sortBy);
    EXPECT_EQ(optionsOfSut(), optionsWith({}));
}

TEST_F(XObjectDescriptorQueryOptions, TakeLimitAndOffset) {
    sut.setQueryOptions(fields, Level::ALL, expanded, sortBy, 10, 20);
    EXPECT_EQ(optionsOfSut(), optionsWith({{"$limit", "10"}, {"$offset", "20"}}));
}

TEST_F(XObjectDescriptorQueryOptions, TakeLimitAndOffsetId) {
    sut.setQueryOptions(fields, Level::ALL, expanded, sortBy, 10, "x");
    EXPECT_EQ(optionsOfSut(), optionsWith({{"$limit", "10"}, {"$offset", "id:x"}}));
}

TEST_F(XObjectDescriptorQueryOptions, TakeALimitAlone) {
    sut.setQueryOptionsLimit(fields, Level::ALL, expanded, sortBy, 10);
    EXPECT_EQ(optionsOfSut(), optionsWith({{"$limit", "10"}}));
}

TEST_F(XObjectDescriptorQueryOptions, TakeAnOffsetAlone) {
    sut.setQueryOptionsOffset(fields, Level::ALL, expanded, sortBy, 20);
    EXPECT_EQ(optionsOfSut(), optionsWith({{"$offset", "20"}}));
}

TEST_F(XObjectDescriptorQueryOptions, TakeAnOffsetIdAlone) {
    sut.setQueryOptionsOffset(fields, Level::ALL, expanded, sortBy, "x");
    EXPECT_EQ(optionsOfSut(), optionsWith({{"$offset", "id:x"}}));
}

TEST(XObjectDescriptor, ReplacesAllQueryOptionsAtOnce) {
    auto sut = aClamp();
    sut.setQueryOptions({"a"}, Level::ONE, {"b"}, {{kDescending, "c"}}, 1, 2);
    sut.setQueryOptionsLimit({}, Level::NONE, {}, {}, 3);
    EXPECT_THAT(optionsOf(sut.getQueryOptions()), ElementsAre(Pair("$limit", "3")));
}

TEST(XObjectDescriptor, CopiesDeeply) {
    auto sut = aClamp();
    sut.setId("1");
    sut.getFilter().add("type", "Clamp15");
    auto copy = sut;
    copy.setId("2");
    copy.getFilter().add("type", "ClampS");
    EXPECT_EQ(sut.getId().getValue(), "1");
    EXPECT_EQ(sut.getFilter().begin()->second, "Clamp15");
}

using Element = XObject<XObjectDescriptor>;

TEST(XObject, IsFilledFromTheJsonThatItIsBuiltFrom) {
    const Element sut(JsonObject::parse(R"({"id":"1","name":"x","uri":"/a/1","more":2})"));
    EXPECT_EQ(sut.getId().getValue() + sut.getName().getValue() + sut.getUri().getValue(), "1x/a/1");
}

TEST(XObject, TakesANumberForAnId) {
    EXPECT_EQ(Element(JsonObject::parse(R"({"id":17})")).getId().getValue(), "17");
}

TEST(XObject, DoesNotCatchWhatTheStringGetterThrows) {
    EXPECT_THROW(Element(JsonObject::parse(R"({"id":null})")), std::exception);
}

TEST(XObject, IsLeftAsItIsByANullPointer) {
    Element sut(JsonObject::parse(R"({"id":"1"})"));
    sut.fillFromJson(nullptr);
    EXPECT_EQ(sut.getId().getValue(), "1");
}

TEST(XObject, KeepsWhatALaterJsonDoesNotMention) {
    Element sut(JsonObject::parse(R"({"id":"1"})"));
    sut.fillFromJson(JsonObject::parse(R"({"name":"x"})"));
    EXPECT_EQ(sut.getId().getValue(), "1");
}

std::string copiedId(const std::string& uri) {
    return Element().copyWithIdFromUri(uri)->getId().getValue();
}

TEST(XObject, IsCopiedWithTheIdAfterTheLastSlash) {
    EXPECT_EQ(copiedId("/a/b/17"), "17");
}

TEST(XObject, IsCopiedWithTheIdAfterTheLastBackslash) {
    EXPECT_EQ(copiedId("/a/b\\17"), "17");
}

TEST(XObject, IsCopiedWithTheWholeUriAsIdWhenThatHasNoSeparator) {
    EXPECT_EQ(copiedId("17"), "17");
}

TEST(XObject, IsCopiedWithAnEmptyIdWhenTheUriEndsInASeparator) {
    EXPECT_EQ(copiedId("/a/"), "");
}

TEST(XObject, IsCopiedWithTheUri) {
    EXPECT_EQ(Element().copyWithIdFromUri("/a/b/17")->getUri().getValue(), "/a/b/17");
}

TEST(XObject, IsNotChangedByBeingCopied) {
    const Element sut(JsonObject::parse(R"({"id":"1"})"));
    sut.copyWithIdFromUri("/a/2");
    EXPECT_EQ(sut.getId().getValue(), "1");
}

TEST(XObject, IsCopiedWithItsFilter) {
    auto descriptor = aClamp();
    descriptor.getFilter().add("type", "Clamp15");
    const auto copy = Element(descriptor).copyWithIdFromUri("/a/2")->getDescriptor();
    EXPECT_THAT(std::vector<ZebFilter::Term>(copy.getFilter().begin(), copy.getFilter().end()),
                ElementsAre(Pair("type", "Clamp15")));
}

TEST(XObject, IsCopiedWithItsQueryOptions) {
    auto descriptor = aClamp();
    descriptor.setQueryOptions({"type"}, Level::NONE);
    const auto copy = Element(descriptor).copyWithIdFromUri("/a/2")->getDescriptor();
    EXPECT_THAT(optionsOf(copy.getQueryOptions()), ElementsAre(Pair("$fields", "type")));
}

TEST(XObject, KeepsAJsonWhoseIdentityIsNoText) {
    auto json = JsonObject::parse(R"({"id":null})");
    const std::weak_ptr<JsonObject> watched = json;
    Element sut;
    EXPECT_THROW(sut.fillFromJson(std::move(json)), std::exception);
    EXPECT_FALSE(watched.expired());
}

TEST(XObject, SharesItsJsonAndDoesNotKeepAnEarlierOne) {
    auto first = JsonObject::parse("{}");
    const std::weak_ptr<JsonObject> watched = first;
    Element sut(std::move(first));
    EXPECT_FALSE(watched.expired());
    sut.fillFromJson(JsonObject::parse("{}"));
    EXPECT_TRUE(watched.expired());
}

}  // namespace
