#include "ProtocolReport.h"

#include <internal/EscapedText.h>

namespace zebbussim {

namespace {

constexpr std::size_t kMostTexts = 100;

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

ProtocolReport::ProtocolReport(Journal& journal)
    : registration_(journal.listen([this](const BusEvent& event) { take(event); })) {}

void ProtocolReport::take(const BusEvent& event) {
    requests_ += event.kind == BusEvent::Kind::Request ? 1 : 0;
    connections_ += event.kind == BusEvent::Kind::Connected ? 1 : 0;
    subscriptions_ += event.kind == BusEvent::Kind::Subscribed ? 1 : 0;
    if (event.kind == BusEvent::Kind::Violation) {
        ++all_;
        const std::string text = (event.program.empty() ? "" : event.program + ": ") + event.text;
        if (violations_.count(text) > 0 || violations_.size() < kMostTexts) {
            ++violations_[text];
        }
    }
}

std::string ProtocolReport::text() const {
    std::string text = "protocol: " + counted(connections_, "WebSocket") + ", " +
                       counted(subscriptions_, "subscription") + ", " + counted(requests_, "request") + ", " +
                       (all_ == 0 ? "no violation" : counted(all_, "violation"));
    for (const auto& [violation, count] : violations_) {
        text += "\nzeb-bus-sim:   " + std::to_string(count) + " x " + internal::escapedText(violation);
    }
    return text;
}

}  // namespace zebbussim
