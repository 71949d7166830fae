#pragma once

namespace test_support {

/// Whether the program was built with the undefined-behaviour sanitizer, which needs descriptors: it looks at
/// memory through a pipe, and without one takes every object for a wrong one.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitizerNeedsDescriptors = true;
#else
constexpr bool kSanitizerNeedsDescriptors = false;
#endif

/// Whether the program runs as users run it. If not, a sanitizer or the emulator of another processor makes
/// it many times as slow, and takes and keeps much memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(CLAMPCONTROL_TESTS_EMULATED)
constexpr bool kIsNative = false;
#else
constexpr bool kIsNative = true;
#endif

/// Whether a child that was forked by a process with threads may start threads itself. The thread sanitizer
/// ends it, and the emulator is not made for it.
#if defined(__SANITIZE_THREAD__) || defined(CLAMPCONTROL_TESTS_EMULATED)
constexpr bool kForkedChildMayStartThreads = false;
#else
constexpr bool kForkedChildMayStartThreads = true;
#endif

}  // namespace test_support
