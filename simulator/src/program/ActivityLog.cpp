#include "ActivityLog.h"

#include <internal/EscapedText.h>

#include <cstdio>
#include <utility>

namespace zebbussim {

namespace {

constexpr const char* kGreen = "\x1b[32m";
constexpr const char* kRed = "\x1b[31m";
constexpr const char* kYellow = "\x1b[33m";
constexpr const char* kBlue = "\x1b[34m";
constexpr const char* kPlain = "";
constexpr const char* kNormal = "\x1b[0m";

std::string secondsOf(std::chrono::milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%8.3f s  ", static_cast<double>(time.count()) / 1000);
    return text;
}

}  // namespace

ActivityLog::ActivityLog(Journal& journal, bool isColoured, Print print)
    : isColoured_(isColoured),
      print_(std::move(print)),
      registration_(journal.listen([this](const BusEvent& event) { take(event); })) {}

std::string ActivityLog::nameOf(const BusEvent& event) const {
    if (const auto found = names_.find(event.client); found != names_.end()) {
        return found->second;
    }
    return event.program.empty() ? "a client" : event.program;
}

void ActivityLog::say(const BusEvent& event, const char* colour, const std::string& text) {
    const std::string line = secondsOf(event.time) + internal::escapedText(text);
    print_(isColoured_ && *colour != '\0' ? colour + line + kNormal : line);
}

void ActivityLog::take(const BusEvent& event) {
    switch (event.kind) {
        case BusEvent::Kind::Connected:
            names_[event.client] =
                event.program.empty() ? "client " + std::to_string(event.client) : event.program;
            say(event, kGreen, nameOf(event) + " has connected to " + event.name + " from " + event.address);
            break;
        case BusEvent::Kind::Disconnected:
            say(event, kYellow, nameOf(event) + " has left " + event.name + ": " + event.text);
            names_.erase(event.client);
            break;
        case BusEvent::Kind::Request:
            say(event, kPlain,
                nameOf(event) +
                    (event.name.empty() ? " has sent what is no request"
                                        : " has asked " + event.name + " " + event.path) +
                    (event.status == 0 ? ": no answer" : ": " + std::to_string(event.status)));
            break;
        case BusEvent::Kind::Subscribed:
            say(event, kGreen, nameOf(event) + " has subscribed to " + event.path);
            break;
        case BusEvent::Kind::Unsubscribed:
            say(event, kYellow,
                "the subscription of " + nameOf(event) + " to " + event.path + " has ended: " + event.text);
            break;
        case BusEvent::Kind::Violation:
            say(event, kRed, nameOf(event) + " violates the protocol: " + event.text);
            break;
        case BusEvent::Kind::StepDone:
            if (event.name != "wait" && event.name != "print") {
                say(event, kBlue, event.source + ": " + event.text);
            }
            break;
        case BusEvent::Kind::FaultEnded:
            say(event, kBlue,
                "the fault " + event.name + (event.path.empty() ? "" : " of " + event.path) + " has ended");
            break;
        default:
            break;
    }
}

}  // namespace zebbussim
