#include <gtest/gtest.h>

#include "http/PercentEncoding.h"

namespace {

TEST(PercentEncoding, KeepsUnreservedCharactersAndEncodesAllOthers) {
    EXPECT_EQ(zeb::percentEncode("aZ09-._~"), "aZ09-._~");
    EXPECT_EQ(zeb::percentEncode("a/b?c=d&e f%+$,\xC3\xA4"), "a%2Fb%3Fc%3Dd%26e%20f%25%2B%24%2C%C3%A4");
}

TEST(PercentEncoding, DecodesWhatItHasEncoded) {
    EXPECT_EQ(zeb::percentDecode(zeb::percentEncode("a/b?%+\xC3\xA4")), "a/b?%+\xC3\xA4");
    EXPECT_EQ(zeb::percentDecode("%4a%4A"), "JJ");
}

TEST(PercentEncoding, DoesNotDecodeABrokenEscape) {
    for (const char* text : {"%", "a%4", "%zz", "%+1", "%-1", "% 1", "%0x"}) {
        EXPECT_FALSE(zeb::percentDecode(text)) << text;
    }
}

}  // namespace
