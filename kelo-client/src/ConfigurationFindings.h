#pragma once

#include <internal/TextPlaces.h>
#include <kelo-client/ConfigurationCheck.h>

#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace kelo_client {

using internal::TextPlace;
using internal::TextPlaces;

/// The findings of a check while it runs: a limited number of each severity, so that a file with many faults
/// costs little.
class ConfigurationFindings {
 public:
    using Severity = ConfigurationFinding::Severity;

    /// In place of a byte, for what concerns the file as a whole.
    static constexpr std::size_t kWholeFile = std::numeric_limits<std::size_t>::max();

    /// Whether another finding of this severity will be kept. If not, its text is not needed.
    bool hasRoom(Severity severity) const;
    void leaveOut() { ++leftOut_; }

    /// @param byte where it is in the file
    void add(Severity severity, std::size_t byte, std::string path, std::string text);

    /// Puts them into the report in the order of the file.
    void moveTo(ConfigurationReport& report, const TextPlaces& places);

 private:
    static constexpr std::size_t kMostOfASeverity = 100;

    struct Found {
        std::size_t byte;
        ConfigurationFinding finding;
    };

    std::vector<Found> found_;
    std::array<std::size_t, 3> counts_{};
    std::size_t leftOut_ = 0;
};

/// A text from the file in quotes, escaped and cut.
std::string quoted(const std::string& text);

/// The path of a member: "services.ClampControl", or services["a name"] if the name is not a word.
std::string memberPath(const std::string& path, const std::string& name);

}  // namespace kelo_client
