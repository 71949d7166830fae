#include "UpgradeAnswer.h"

#include <algorithm>
#include <charconv>

namespace zeb {

namespace {

constexpr std::string_view kVersion = "HTTP/1.";
constexpr std::string_view kEndOfHeader = "\r\n\r\n";
constexpr int kSwitchingProtocols = 101;

// The status of an answer that begins with "HTTP/1.1 200 ", or 0.
int statusOf(std::string_view header) {
    constexpr std::size_t versionSize = kVersion.size() + 1;
    constexpr std::size_t statusSize = 3;
    if (header.size() < versionSize + 1 + statusSize + 1 || header.substr(0, kVersion.size()) != kVersion ||
        header[versionSize] != ' ') {
        return 0;
    }
    const std::string_view digits = header.substr(versionSize + 1, statusSize);
    const char next = header[versionSize + 1 + statusSize];
    int status = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), status);
    const bool isNumber = result.ec == std::errc() && result.ptr == digits.data() + digits.size();
    return isNumber && status >= 100 && (next == ' ' || next == '\r') ? status : 0;
}

}  // namespace

UpgradeAnswer::State UpgradeAnswer::add(std::string_view bytes) {
    bytes_ += bytes;
    do {
        state_ = readHeader();
    } while (state_ == State::Incomplete && bytes_.find(kEndOfHeader) != std::string::npos);
    return state_;
}

// Reads the first header of what has arrived, and removes it if it is that of an interim answer.
UpgradeAnswer::State UpgradeAnswer::readHeader() {
    const auto common = std::min(bytes_.size(), kVersion.size());
    if (bytes_.compare(0, common, kVersion.substr(0, common)) != 0) {
        return State::Unusable;
    }
    const std::size_t end = bytes_.find(kEndOfHeader);
    if (end == std::string::npos) {
        return skipped_ + bytes_.size() > kMaximumSize ? State::Unusable : State::Incomplete;
    }
    const std::size_t size = end + kEndOfHeader.size();
    status_ = statusOf(bytes_);
    if (status_ == 0 || skipped_ + size > kMaximumSize) {
        return State::Unusable;
    }
    if (status_ == kSwitchingProtocols) {
        headerSize_ = size;
        return State::Accepted;
    }
    if (status_ >= 200) {
        return State::Declined;
    }
    skipped_ += size;
    bytes_.erase(0, size);
    return State::Incomplete;
}

}  // namespace zeb
