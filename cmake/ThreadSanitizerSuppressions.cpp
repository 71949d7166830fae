/// \file
/// Part of every program that is built with the thread sanitizer, which asks for this function by name.

/// What is wrong inside libdlt when a process ends, and cannot be put right from outside:
/// - its thread "dlt_segmented" is cancelled while it waits for a condition, and so never unlocks the mutex
/// that it
///   has taken (the function has no name in the library, hence the library's);
/// - dlt_free signals and destroys that condition without the mutex.
extern "C" __attribute__((visibility("default"))) const char*
__tsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
    return "mutex:libdlt.so.2\n"
           "race:^dlt_free$\n";
}
