#pragma once

#include <ara/log/logger.h>
#include <dlt/dlt.h>

#include <atomic>
#include <optional>
#include <string>

namespace ara::log {

/// What `ara::log` knows about one context. Never destroyed.
struct Logger::State {
    State(std::string id, std::string about, std::string shownId, std::optional<LogLevel> own, LogLevel now)
        : name(std::move(id)),
          description(std::move(about)),
          dltId(std::move(shownId)),
          ownLevel(own),
          level(now),
          logger(*this) {}

    const std::string name;
    const std::string description;
    /// One to four characters, different from those of every other context.
    const std::string dltId;
    /// The level that was given to CreateLogger, if any.
    const std::optional<LogLevel> ownLevel;
    std::atomic<LogLevel> level;
    DltContext dltContext{};
    Logger logger;
};

}  // namespace ara::log
