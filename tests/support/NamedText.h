#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace test_support {

/// A text for a parameterised test, and the name of the test with it.
struct NamedText {
    const char* name;
    std::string text;
};

inline void PrintTo(const NamedText& named, std::ostream* stream) {
    *stream << named.name;
}

inline std::string nameOf(const testing::TestParamInfo<NamedText>& instance) {
    return instance.param.name;
}

}  // namespace test_support
