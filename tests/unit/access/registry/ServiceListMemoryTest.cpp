#include <CountedMemory.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "registry/ServiceList.h"

namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

// Each character of the path has two bytes here and six in a request.
std::string listOfServices(const std::string& names) {
    std::string path;
    for (int character = 0; character < 160; ++character) {
        path += "\u00e9";
    }
    std::string list = "[";
    for (int service = 0; list.size() + 1000 < kMebibyte; ++service) {
        list += (service > 0 ? "," : "") + std::string(R"({"name":")") + names + std::to_string(service) +
                R"(","serverBaseUri":"http://h","serverBasePath":")" + path + R"("})";
    }
    return list + "]";
}

// As the directory does it, which keeps the list that it knows until it has read the next one.
TEST(ServiceListMemory, OfTwoListsIsAtMostEightTimesThatOfTheText) {
    const std::string first = listOfServices("a");
    const std::string second = listOfServices("b");
    const test_support::CountedMemory memory;
    zeb::ServiceList known = zeb::ServiceList::read(first);
    known = zeb::ServiceList::read(second);
    EXPECT_GT(known.endpoints.size(), 1000U);
    EXPECT_LT(memory.peak(), 8 * kMebibyte);
}

}  // namespace
