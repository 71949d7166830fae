#include "UnitMessages.h"

#include <zebutil/LoggerFactory.h>

namespace zebobjects_ZEB {

void UnitMessages::warning(int line, const std::string& text) noexcept {
    try {
        const auto write = [&](zebutil::ILogger& logger) {
            logger.warning(std::string("kelo-client/generated/ZebDataObjects_ZEB/") + unit_ + ":" +
                           std::to_string(line) + " " + text);
        };
        if (logger_ == Logger::perMessage) {
            write(*zebutil::LoggerFactory::getDefaultLoggerFactory()->createLogger(unit_));
        } else if (zebutil::ILogger& logger = keptLogger(); logger.isWarning()) {
            write(logger);
        }
    } catch (...) {
        // There is nowhere left to say it.
    }
}

void UnitMessages::reportEndOfFill(int line) noexcept {
    if (endOfFill_ == EndOfFill::reported) {
        warning(line, "could not fill object from json, exception occured");
    }
}

zebutil::ILogger& UnitMessages::keptLogger() {
    std::call_once(keptLoggerMade_, [this] {
        keptLogger_ = zebutil::LoggerFactory::getDefaultLoggerFactory()->createLogger(unit_);
    });
    return *keptLogger_;
}

}  // namespace zebobjects_ZEB
