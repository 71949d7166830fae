#pragma once

namespace test_support {

/// Whether the program was built with the undefined-behaviour sanitizer, which needs descriptors: it looks at
/// memory through a pipe, and without one takes every object for a wrong one.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitizerNeedsDescriptors = true;
#else
constexpr bool kSanitizerNeedsDescriptors = false;
#endif

}  // namespace test_support
