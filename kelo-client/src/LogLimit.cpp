#include "LogLimit.h"

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

namespace kelo_client {

namespace {

constexpr int kLinesAtOnce = 100;
constexpr std::chrono::milliseconds kLineInterval{100};
constexpr int kSameLinesAtOnce = 20;
constexpr std::chrono::seconds kSameLineInterval{1};
constexpr std::chrono::seconds kCountInterval{1};

/// Facilities are named after services. More names than this share one limit.
constexpr std::size_t kMostNames = 256;

/// Never destroyed: threads log until the process has ended.
struct AllLimits {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<LogLimit>> byName;
    LogLimit others;
};

AllLimits& allLimits() {
    static auto& limits = *new AllLimits;
    return limits;
}

}  // namespace

LogLimit& LogLimit::of(const std::string& facility) {
    AllLimits& all = allLimits();
    const std::lock_guard lock(all.mutex);
    const auto known = all.byName.find(facility);
    if (known != all.byName.end()) {
        return *known->second;
    }
    if (all.byName.size() >= kMostNames) {
        return all.others;
    }
    return *all.byName.emplace(facility, std::make_unique<LogLimit>()).first->second;
}

bool LogLimit::Bucket::take(Time now, std::chrono::nanoseconds interval, int burst) {
    const Time empty = std::max(empty_, now - burst * interval);
    if (empty + interval > now) {
        return false;
    }
    empty_ = empty + interval;
    return true;
}

LogLimit::Verdict LogLimit::admit(std::size_t level, std::string_view text, Time now) {
    const std::size_t hash = std::hash<std::string_view>()(text);
    const std::lock_guard lock(mutex_);
    Level& lines = levels_.at(level);
    SameText& same = lines.texts[hash % lines.texts.size()];
    if (same.hash != hash) {
        same = SameText();
        same.hash = hash;
    }
    if (!same.bucket.take(now, kSameLineInterval, kSameLinesAtOnce) ||
        !lines.all.take(now, kLineInterval, kLinesAtOnce)) {
        ++lines.suppressed;
        return {};
    }
    return {true, takeSuppressed(lines, now)};
}

std::uint64_t LogLimit::takeSuppressed(std::size_t level, Time now) {
    const std::lock_guard lock(mutex_);
    return takeSuppressed(levels_.at(level), now);
}

std::uint64_t LogLimit::takeSuppressed(Level& lines, Time now) {
    if (lines.suppressed == 0 || !lines.counts.take(now, kCountInterval, 1)) {
        return 0;
    }
    return std::exchange(lines.suppressed, 0);
}

}  // namespace kelo_client
