#include <ResourcesOfModels.h>
#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string>

#include "KnownServices.h"

namespace {

TEST(KnownServices, AreThoseOfAllModels) {
    const std::set<std::string> known(kelo_client::kKnownServices.begin(), kelo_client::kKnownServices.end());
    const std::set<std::string> modelled(std::begin(test_resources::kServices),
                                         std::end(test_resources::kServices));
    EXPECT_EQ(known, modelled);
}

TEST(KnownServices, IncludeTheOneThatTheClientFollows) {
    EXPECT_EQ(kelo_client::kClampControl, zebobjects_ZEB::ClampcontrolService::getServiceName());
}

}  // namespace
