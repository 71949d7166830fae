// The data objects of every resource, read over HTTP from the bus that the project ships, through the
// platform.

#include <PlatformFixture.h>
#include <Poco/JSON/Object.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ResourcesOfModels.h"

namespace {

using Resources = test_resources::All<testing::Types>;

std::shared_ptr<zebutil::JsonObject> servicesOfTheVehicle() {
    std::ifstream file(VEHICLE_BUS, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return zebutil::JsonObject::parse(text)->getObject("services");
}

// A null field has no value, and an object does not write a field without a value.
std::string withoutNulls(const zebutil::JsonObject& element) {
    Poco::JSON::Object copy(*element.getTree());
    for (const std::string& key : element.getKeys()) {
        if (element.isNull(key)) {
            copy.remove(key);
        }
    }
    return zebutil::JsonObject(new Poco::JSON::Object(copy)).toString();
}

template <typename R>
class DataObjectsOnTheBus : public test_support::PlatformFixture {
 protected:
    using Service = typename R::Desctype::Service;

    DataObjectsOnTheBus() {
        bus.loadFile(VEHICLE_BUS);
        createRegistry(Mode::DynamicOnly);
        listen<Service>();
        isConnected_ = states.next() == "connected";
    }

    void SetUp() override {
        ASSERT_TRUE(isConnected_) << "is the service " << R::getServiceName() << " in " VEHICLE_BUS "?";
    }

    // The elements of the bus file, with the uri that the bus adds.
    static std::vector<std::shared_ptr<zebutil::JsonObject>> elementsOfTheFile() {
        const auto list =
            servicesOfTheVehicle()->getObject(R::getServiceName())->getArray(R::getResourceName());
        std::vector<std::shared_ptr<zebutil::JsonObject>> elementsInOrder;
        for (std::size_t position = 0; position < list->size(); ++position) {
            const auto element = list->getObject(position);
            element->setString("uri", "/" + R::getServiceName() + "/" + R::getResourceName() + "/" +
                                          element->getString("id"));
            elementsInOrder.push_back(element);
        }
        return elementsInOrder;
    }

    // Null when there is no such element, or no answer.
    std::shared_ptr<const R> find(const std::string& id) {
        typename R::Desctype descriptor;
        descriptor.getFilter().add("id", id);
        return find(descriptor);
    }

    std::shared_ptr<const R> find(const typename R::Desctype& descriptor) {
        test_support::Received<std::shared_ptr<const R>> answers;
        service()->getAccessor()->template findFirst<R>(
            descriptor, [&](std::shared_ptr<const R> element, const auto&) { answers.push(element); },
            [&](const std::shared_ptr<const zeb::ZebResponse>& response) {
                ADD_FAILURE() << "status " << response->getStatusCode() << ": " << response->getBody();
                answers.push(nullptr);
            });
        return answers.next().value_or(nullptr);
    }

    // Empty when there is no answer.
    std::vector<std::shared_ptr<const R>> findAll() {
        test_support::Received<std::vector<std::shared_ptr<const R>>> answers;
        service()->getAccessor()->template findAll<R>(
            {},
            [&](std::vector<std::shared_ptr<const R>> found, const auto&) { answers.push(std::move(found)); },
            [&](const std::shared_ptr<const zeb::ZebResponse>& response) {
                ADD_FAILURE() << "status " << response->getStatusCode() << ": " << response->getBody();
                answers.push({});
            });
        return answers.next().value_or(std::vector<std::shared_ptr<const R>>());
    }

    // Whether the server has taken it.
    bool write(const R& element) {
        test_support::Received<bool> answers;
        service()->getAccessor()->write(
            element, [&](const auto&) { answers.push(true); }, [&](const auto&) { answers.push(false); });
        return answers.next().value_or(false);
    }

 private:
    bool isConnected_ = false;
};

template <typename... R>
std::set<std::string> pathsOf(testing::Types<R...>*) {
    return {(R::getServiceName() + "/" + R::getResourceName())...};
}

/// What GoogleTest does by default. Without a third argument of the macro below clang warns of an empty one.
struct NumberOfType {
    template <typename R>
    static std::string GetName(int number) {
        return std::to_string(number);
    }
};

TYPED_TEST_SUITE(DataObjectsOnTheBus, Resources, NumberOfType);

TYPED_TEST(DataObjectsOnTheBus, HaveTheFieldsOfTheBusFile) {
    const auto expected = this->elementsOfTheFile();
    ASSERT_FALSE(expected.empty()) << "add an element that has every field to " VEHICLE_BUS;
    for (const auto& element : expected) {
        const auto sut = this->find(element->getString("id"));
        ASSERT_TRUE(sut) << element->toString();
        EXPECT_EQ(sut->getDescriptor().getAsJson()->toString(), withoutNulls(*element));
    }
}

TYPED_TEST(DataObjectsOnTheBus, AreFoundByAllThatTheyHold) {
    for (const auto& element : this->elementsOfTheFile()) {
        const auto sut = this->find(TypeParam(element).getDescriptor());
        ASSERT_TRUE(sut) << element->toString();
        EXPECT_EQ(sut->getId().getValue(), element->getString("id"));
    }
}

TYPED_TEST(DataObjectsOnTheBus, AreFoundByTheirIdentity) {
    for (const auto& element : this->elementsOfTheFile()) {
        const auto sut = this->find(TypeParam(element).getIdentityDescriptor());
        ASSERT_TRUE(sut) << element->toString();
        EXPECT_EQ(sut->getId(), element->getString("id"));
    }
}

TYPED_TEST(DataObjectsOnTheBus, AreReadAllAtOnce) {
    const auto expected = this->elementsOfTheFile();
    const auto sut = this->findAll();
    ASSERT_EQ(sut.size(), expected.size());
    for (std::size_t position = 0; position < expected.size(); ++position) {
        EXPECT_EQ(sut[position]->getDescriptor().getAsJson()->toString(), withoutNulls(*expected[position]));
    }
}

TYPED_TEST(DataObjectsOnTheBus, StayAsTheyAreWhenTheyAreWrittenAsTheyWereRead) {
    const auto before = this->findAll();
    ASSERT_FALSE(before.empty());
    ASSERT_TRUE(this->write(*before.front()));
    EXPECT_EQ(this->findAll().front()->getDescriptor().getAsJson()->toString(),
              before.front()->getDescriptor().getAsJson()->toString());
}

class BusOfTheVehicle : public testing::Test {
 protected:
    // "service/resource" of each.
    static std::set<std::string> pathsOfTheFile() {
        std::set<std::string> paths;
        const auto services = servicesOfTheVehicle();
        for (const std::string& service : services->getKeys()) {
            for (const std::string& resource : services->getObject(service)->getKeys()) {
                paths.insert(service + "/" + resource);
            }
        }
        return paths;
    }

    static std::vector<std::string> thoseOf(const std::set<std::string>& some,
                                            const std::set<std::string>& thatAreNotOf) {
        std::vector<std::string> result;
        std::set_difference(some.begin(), some.end(), thatAreNotOf.begin(), thatAreNotOf.end(),
                            std::back_inserter(result));
        return result;
    }

    const std::set<std::string> pathsOfTheModels = pathsOf(static_cast<Resources*>(nullptr));
};

TEST_F(BusOfTheVehicle, HasEveryResourceOfTheModels) {
    EXPECT_THAT(thoseOf(pathsOfTheModels, pathsOfTheFile()), testing::IsEmpty())
        << "each is a resource of a model: add it, with an element that has every field, to " VEHICLE_BUS;
}

TEST_F(BusOfTheVehicle, HasNoResourceThatNoModelHas) {
    EXPECT_THAT(thoseOf(pathsOfTheFile(), pathsOfTheModels), testing::IsEmpty());
}

}  // namespace
