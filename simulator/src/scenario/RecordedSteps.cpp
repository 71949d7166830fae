#include "RecordedSteps.h"

#include <cstddef>

#include "Recorder.h"

namespace zebbussim {

namespace {

constexpr std::size_t kLongest = std::size_t{8} * 1024 * 1024;
constexpr const char* kTooLong = ",\n {\"print\":\"the recording ends here, because it became too long\"}";

}  // namespace

RecordedSteps::RecordedSteps(Journal& journal)
    : registration_(
          journal.listen([this](const BusEvent& event) { take(event); }, Journal::Interest::Steps)) {}

void RecordedSteps::take(const BusEvent& event) {
    const std::string entry = recordedEntry(event, {});
    if (entry.empty() || isTooLong_) {
        return;
    }
    isTooLong_ = entries_.size() + entry.size() > kLongest;
    if (!isTooLong_) {
        entries_.append(entries_.empty() ? "\n " : ",\n ").append(entry);
    }
}

std::string RecordedSteps::text() const {
    return "[" + entries_ + (isTooLong_ ? kTooLong : "") + "\n]\n";
}

}  // namespace zebbussim
