#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include <stdexcept>

namespace {

TEST(ZebException, ReadsOriginThenMessage) {
    EXPECT_STREQ(zeb::ZebException("find first failed", "unknown").what(),
                 "ZebException: unknown find first failed");
}

TEST(ZebException, AppendsItsCause) {
    const std::runtime_error cause("no route");
    EXPECT_STREQ(zeb::ZebException("find first failed", "unknown", &cause).what(),
                 "ZebException: unknown find first failed reason: no route");
}

}  // namespace
