#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "zeb-bus-sim/BusSimulator.h"

namespace {

/// The references in the fields of an element, as values or in lists.
std::vector<Poco::JSON::Object::Ptr> referencesOf(const Poco::JSON::Object& element) {
    std::vector<Poco::JSON::Object::Ptr> references;
    for (const std::string& key : element.getNames()) {
        if (element.isObject(key) && !element.isNull(key)) {
            references.push_back(element.getObject(key));
        } else if (element.isArray(key)) {
            const auto list = element.getArray(key);
            for (unsigned int index = 0; index < list->size(); ++index) {
                if (list->isObject(index)) {
                    references.push_back(list->getObject(index));
                }
            }
        }
    }
    return references;
}

TEST(VehicleBus, HasAnElementForEveryReference) {
    zebbussim::BusSimulator sut;
    sut.loadFile(VEHICLE_BUS_FILE);
    std::ifstream file(VEHICLE_BUS_FILE);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto services =
        Poco::JSON::Parser().parse(text).extract<Poco::JSON::Object::Ptr>()->getObject("services");
    for (const std::string& service : services->getNames()) {
        for (const std::string& resource : services->getObject(service)->getNames()) {
            const auto elements = services->getObject(service)->getArray(resource);
            for (unsigned int index = 0; index < elements->size(); ++index) {
                for (const auto& reference : referencesOf(*elements->getObject(index))) {
                    const auto uri = reference->getValue<std::string>("uri");
                    const std::string name = "\"name\":\"" + reference->getValue<std::string>("name") + "\"";
                    EXPECT_NE(sut.element(uri).find(name), std::string::npos) << uri;
                }
            }
        }
    }
}

}  // namespace
