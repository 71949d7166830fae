#include <TemporaryDirectory.h>
#include <gtest/gtest.h>
#include <internal/RegularFile.h>

#include <string>
#include <system_error>

namespace {

TEST(RegularFile, IsNotThatWhosePathEndsBeforeANulCharacter) {
    const test_support::TemporaryDirectory directory;
    const std::string path = directory.write("file", "content");
    EXPECT_EQ(internal::readRegularFile(path, 100), "content");
    try {
        internal::readRegularFile(path + std::string("\0.bak", 5), 100);
        FAIL() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    }
}

}  // namespace
