#include "ConfigurationFindings.h"

#include <internal/EscapedText.h>

#include <algorithm>
#include <utility>

namespace kelo_client {

namespace {

constexpr std::size_t kLongestText = 100;

bool isOfWord(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '_' || character == '-' || character == '$';
}

}  // namespace

bool ConfigurationFindings::hasRoom(Severity severity) const {
    return counts_[static_cast<std::size_t>(severity)] < kMostOfASeverity;
}

void ConfigurationFindings::add(Severity severity, std::size_t byte, std::string path, std::string text) {
    if (!hasRoom(severity)) {
        leaveOut();
        return;
    }
    ++counts_[static_cast<std::size_t>(severity)];
    found_.push_back({byte, {severity, 0, 0, std::move(path), std::move(text)}});
}

void ConfigurationFindings::moveTo(ConfigurationReport& report, const TextPlaces& places) {
    // What concerns the whole file comes first.
    std::stable_sort(found_.begin(), found_.end(),
                     [](const Found& one, const Found& other) { return one.byte + 1 < other.byte + 1; });
    for (Found& found : found_) {
        if (found.byte != kWholeFile) {
            const TextPlace place = places.of(found.byte);
            found.finding.line = place.line;
            found.finding.column = place.column;
        }
        report.findings.push_back(std::move(found.finding));
    }
    report.findingsLeftOut = leftOut_;
}

std::string quoted(const std::string& text) {
    return '"' + internal::escapedText(text, kLongestText) + '"';
}

std::string memberPath(const std::string& path, const std::string& name) {
    const bool isWord =
        !name.empty() && name.size() <= kLongestText && std::all_of(name.begin(), name.end(), isOfWord);
    if (!isWord) {
        return path + "[" + quoted(name) + "]";
    }
    return path.empty() ? name : path + "." + name;
}

}  // namespace kelo_client
