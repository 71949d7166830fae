#include "UnitMessages.h"

#include <zebutil/LoggerFactory.h>

#include <string>

namespace zebobjects_ZEB {

namespace {

std::string textOf(const char* unit, int line, const std::initializer_list<std::string_view>& parts) {
    std::string text =
        std::string("kelo-client/generated/ZebDataObjects_ZEB/") + unit + ":" + std::to_string(line) + " ";
    for (const std::string_view part : parts) {
        text += part;
    }
    return text;
}

}  // namespace

void UnitMessages::warning(int line, std::initializer_list<std::string_view> parts,
                           std::size_t times) noexcept {
    std::string text;
    for (; times > 0; --times) {
        try {
            withLogger([&](zebutil::ILogger& logger) {
                if (text.empty()) {
                    text = textOf(unit_, line, parts);
                }
                logger.warning(text);
            });
        } catch (...) {
            // The failure cannot be reported anywhere.
        }
    }
}

template <typename Write>
void UnitMessages::withLogger(const Write& write) {
    if (logger_ == Logger::perMessage) {
        write(*zebutil::LoggerFactory::getDefaultLoggerFactory()->createLogger(unit_));
    } else if (zebutil::ILogger& logger = keptLogger(); logger.isWarning()) {
        write(logger);
    }
}

void UnitMessages::reportEndOfFill(int line) noexcept {
    if (endOfFill_ == EndOfFill::reported) {
        warning(line, {"could not fill object from json, exception occured"});
    }
}

zebutil::ILogger& UnitMessages::keptLogger() {
    std::call_once(keptLoggerMade_, [this] {
        keptLogger_ = zebutil::LoggerFactory::getDefaultLoggerFactory()->createLogger(unit_);
    });
    return *keptLogger_;
}

}  // namespace zebobjects_ZEB
