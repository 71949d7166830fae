// The schema of the configuration file repeats values of the library. configuration_schema_test.py compares
// keys and types.
#include <gtest/gtest.h>
#include <kelo-client/ConfigurationManager.h>
#include <zeb/ZebServiceConfigurations.h>
#include <zeb/ZebServiceRegistry.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonObject.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>

namespace {

using kelo_client::ConfigurationManager;
using zeb::ZebServiceRegistry;

std::shared_ptr<zebutil::JsonObject> definition(const std::string& name) {
    std::ifstream file(CONFIGURATION_SCHEMA);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return zebutil::JsonObject::parse(text)->getObject("$defs")->getObject(name);
}

std::string defaultOf(const std::string& part, const std::string& key) {
    return definition(part)->getObject("properties")->getObject(key)->getString("default");
}

TEST(ConfigurationSchema, HasTheDefaultsOfTheLibrary) {
    const ConfigurationManager manager;
    EXPECT_EQ(defaultOf("registry", "mode"), manager.getServiceRegistrySettings().mode);
    EXPECT_EQ(defaultOf("registry", "httpUri"), manager.getServiceRegistrySettings().httpUri);
    EXPECT_EQ(defaultOf("service", "serverBasePathHTTP"), manager.getServerBasePath("A"));
    EXPECT_EQ(defaultOf("service", "separatorAfterRessource"), manager.getSeparatorAfterResource("A"));
    EXPECT_EQ(defaultOf("service", "watchdogTimeout"),
              std::to_string(manager.getWatchdogPingInterval("A").count()));
}

TEST(ConfigurationSchema, HasTheModesOfThePlatformAndTheTextsForTheDefault) {
    const auto modes = definition("registry")->getObject("properties")->getObject("mode")->getArray("enum");
    std::set<std::string> names;
    for (std::size_t index = 0; index < modes->size(); ++index) {
        names.insert(modes->getString(index));
    }
    const std::set<std::string> expected = {ZebServiceRegistry::STR_MODE_STATIC_ONLY,
                                            ZebServiceRegistry::STR_MODE_DYNAMIC_ONLY,
                                            ZebServiceRegistry::STR_MODE_STATIC_BEFORE_DYNAMIC, "static", ""};
    EXPECT_EQ(names, expected);
}

TEST(ConfigurationSchema, HasTheLongestIntervalOfThePlatform) {
    EXPECT_EQ(definition("watchdogTimeout")->getInt64("maximum"),
              zeb::ZebServiceConfigurations::kLongestWatchdogTime.count());
}

}  // namespace
