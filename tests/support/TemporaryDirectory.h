#pragma once

#include <filesystem>
#include <string_view>

namespace test_support {

/// A new empty directory, removed with its content when this object is destroyed.
class TemporaryDirectory {
 public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const noexcept { return path_; }

    /// Writes a file in the directory and returns its path.
    std::filesystem::path write(std::string_view name, std::string_view content) const;

 private:
    std::filesystem::path path_;
};

}  // namespace test_support
