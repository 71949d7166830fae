#pragma once

#include <ara/log/common.h>

#include <chrono>
#include <string>
#include <string_view>

namespace ara::log {

/// "off", "fatal", "error", "warn", "info", "debug" or "verbose".
std::string_view levelName(LogLevel level) noexcept;

/// Formats one record as a line of text that ends in a line feed, such as
///
///     2026-11-20T09:30:00.123456Z CSC ClampClient warn text
///
/// The text must have no line feeds.
std::string formatLine(std::chrono::system_clock::time_point time, std::string_view application,
                       std::string_view context, LogLevel level, std::string_view text);

}  // namespace ara::log
