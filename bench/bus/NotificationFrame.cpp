#include "NotificationFrame.h"

#include <charconv>

#include "ElementText.h"
#include "FrameReader.h"

namespace bench {

NotificationFrame::NotificationFrame(std::size_t elementId, std::size_t elementSize,
                                     const std::string& subscriptionId)
    : begin_(R"({"action":"subscription","subscriptionId":")" + subscriptionId + R"(","seq":)") {
    const auto end = [&](bool isSwitchedOn) {
        return R"(,"data":)" + elementText(elementId, isSwitchedOn, elementSize) +
               R"(,"ts":"2026-01-31T12:34:56.123456Z"})";
    };
    endWhenOn_ = end(true);
    endWhenOff_ = end(false);
}

void NotificationFrame::appendNext(std::string& out, bool isSwitchedOn) {
    char digits[24];
    const std::size_t length =
        static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, seq_++).ptr - digits);
    const std::string& end = isSwitchedOn ? endWhenOn_ : endWhenOff_;
    appendTextHeader(out, begin_.size() + length + end.size());
    out.append(begin_).append(digits, length).append(end);
}

}  // namespace bench
