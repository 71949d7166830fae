#include "EventPrinter.h"

#include <internal/EscapedText.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <utility>

namespace {

constexpr const char* kDim = "2";
constexpr const char* kRed = "31";
constexpr const char* kGreen = "32";
constexpr const char* kCyan = "36";
constexpr const char* kBoldGreen = "1;32";
constexpr const char* kBoldYellow = "1;33";

constexpr std::size_t kEventWidth = 12;
constexpr std::size_t kLongestText = 1'000;
// The follower has cut the reason already. In JSON, quotes and backslashes need two bytes.
constexpr std::size_t kLongestReason = 4'000;
constexpr std::uint32_t kReplacementCharacter = 0xFFFD;

std::string formatted(const std::tm& time, const char* format) {
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, format, &time));
}

std::string fraction(EventPrinter::Time time, int digits) {
    using std::chrono::microseconds;
    const auto sinceEpoch = std::chrono::duration_cast<microseconds>(time.time_since_epoch()).count();
    char text[16];
    std::snprintf(text, sizeof text, ".%06d", static_cast<int>(sinceEpoch % 1000000));
    return std::string(text, static_cast<std::size_t>(digits) + 1);
}

/// The local time: "12:34:56.789".
std::string localTime(EventPrinter::Time time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return formatted(parts, "%H:%M:%S") + fraction(time, 3);
}

/// "2026-01-31T12:34:56.123456Z"
std::string utcTime(EventPrinter::Time time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    return formatted(parts, "%Y-%m-%dT%H:%M:%S") + fraction(time, 6) + "Z";
}

/// Appends the escape sequence that JSON has for the character.
void appendJsonEscape(std::string& text, std::uint32_t code) {
    char escape[16];
    if (code < 0x10000) {
        std::snprintf(escape, sizeof escape, "\\u%04x", code);
    } else {
        const std::uint32_t offset = code - 0x10000;
        std::snprintf(escape, sizeof escape, "\\u%04x\\u%04x", 0xD800 + (offset >> 10U),
                      0xDC00 + (offset & 0x3FFU));
    }
    text += escape;
}

/// The content of a JSON string, without the quotes. Escapes all characters that control a terminal or cannot
/// be seen. What is not UTF-8 becomes U+FFFD. A long text is cut and says by how much.
std::string escaped(std::string_view text, std::size_t longest = kLongestText) {
    std::string result;
    while (!text.empty()) {
        if (result.size() >= longest) {
            return result + "... (" + std::to_string(text.size()) + " bytes cut)";
        }
        const internal::TextPiece piece = internal::firstPiece(text);
        const std::string_view character = text.substr(0, piece.size);
        text.remove_prefix(piece.size);
        if (!piece.isValid) {
            appendJsonEscape(result, kReplacementCharacter);
        } else if (internal::isUnsafe(piece.code)) {
            appendJsonEscape(result, piece.code);
        } else {
            if (character == "\"" || character == "\\") {
                result += '\\';
            }
            result += character;
        }
    }
    return result;
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string value(const std::string& json) {
    return R"("value":)" + json;
}

}  // namespace

EventPrinter::EventPrinter(std::ostream& stream, Format format, std::function<Time()> clock,
                           std::function<void()> outputLost)
    : stream_(stream), format_(format), clock_(std::move(clock)), outputLost_(std::move(outputLost)) {}

void EventPrinter::connection(bool connected) {
    print("connection", value(connected ? "true" : "false"), connected ? "connected" : "disconnected",
          connected ? kGreen : kRed);
}

void EventPrinter::subscribed(const std::string& uuid) {
    const std::string text = escaped(uuid);  // the server sends it, so it may contain anything
    print("subscribed", value(quoted(text)), text, kCyan);
}

void EventPrinter::notification() {
    print("notification", value("null"), "", kDim);
}

void EventPrinter::clamp15(bool switchedOn) {
    print("clamp15", value(switchedOn ? "true" : "false"), switchedOn ? "on" : "off",
          switchedOn ? kBoldGreen : kBoldYellow);
}

void EventPrinter::unknown(const std::string& reason) {
    // The follower has escaped what comes from outside. In text that stays readable: escaping it again, but
    // not as JSON, changes nothing.
    print("unknown", R"("reason":)" + quoted(escaped(reason, kLongestReason)),
          internal::escapedText(reason, kLongestReason), kRed);
}

void EventPrinter::stopped() {
    print("stopped", value("null"), "", kCyan);
}

void EventPrinter::print(const std::string& event, const std::string& jsonMember, const std::string& text,
                         const char* colour) {
    // The time is taken under the lock, so the times of the lines never go backwards.
    const std::lock_guard lock(mutex_);
    const Time now = clock_();
    if (format_ == Format::Json) {
        stream_ << "{\"ts\":\"" << utcTime(now) << "\",\"event\":" << quoted(event) << "," << jsonMember
                << "}\n";
    } else {
        std::string words = event;
        if (!text.empty()) {
            words += std::string(kEventWidth - event.size(), ' ') + "  " + text;
        }
        if (format_ == Format::ColouredText) {
            words = std::string("\033[") + colour + "m" + words + "\033[0m";
        }
        stream_ << localTime(now) << "  " << words << "\n";
    }
    stream_.flush();
    if (!stream_ && outputLost_) {
        std::exchange(outputLost_, nullptr)();
    }
}
