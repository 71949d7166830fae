#pragma once

namespace test_support {

/// Whether the program was built with the undefined-behaviour sanitizer, which needs descriptors: it looks at
/// memory through a pipe, and without one takes every object for a wrong one.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitizerNeedsDescriptors = true;
#else
constexpr bool kSanitizerNeedsDescriptors = false;
#endif

/// Whether the program was built with a sanitizer, under which it takes many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSlowed = true;
#else
constexpr bool kIsSlowed = false;
#endif

}  // namespace test_support
