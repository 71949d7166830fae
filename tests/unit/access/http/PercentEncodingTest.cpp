#include <gtest/gtest.h>

#include "http/PercentEncoding.h"

namespace {

TEST(PercentEncoding, KeepsUnreservedCharactersAndEncodesAllOthers) {
    EXPECT_EQ(zeb::percentEncode("aZ09-._~"), "aZ09-._~");
    EXPECT_EQ(zeb::percentEncode("a/b?c=d&e f%+$,\xC3\xA4"), "a%2Fb%3Fc%3Dd%26e%20f%25%2B%24%2C%C3%A4");
}

}  // namespace
