#include "UnitMessages.h"

#include <zebutil/LoggerFactory.h>

#include <string>

namespace zebobjects_ZEB {

void UnitMessages::warning(int line, std::initializer_list<std::string_view> parts) noexcept {
    try {
        const auto write = [&](zebutil::ILogger& logger) {
            std::string text = std::string("kelo-client/generated/ZebDataObjects_ZEB/") + unit_ + ":" +
                               std::to_string(line) + " ";
            for (const std::string_view part : parts) {
                text += part;
            }
            logger.warning(text);
        };
        if (logger_ == Logger::perMessage) {
            write(*zebutil::LoggerFactory::getDefaultLoggerFactory()->createLogger(unit_));
        } else if (zebutil::ILogger& logger = keptLogger(); logger.isWarning()) {
            write(logger);
        }
    } catch (...) {
        // The failure cannot be reported anywhere.
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
