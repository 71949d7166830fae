#pragma once

#include <string>

namespace test_support {

/// Files whose file system hangs. Replaces stat() of the C library, so link the source file into the test
/// program itself. Never restored: the threads that look at such a file outlive every test.
class HangingFiles {
 public:
    /// Whoever looks at the file, waits for ever.
    static void hang(const std::string& path);

    /// Waits until somebody looks at the file.
    static void waitForLook(const std::string& path);
};

}  // namespace test_support
