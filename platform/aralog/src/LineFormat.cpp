#include "LineFormat.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace ara::log {

std::string_view levelName(LogLevel level) noexcept {
    constexpr std::array<std::string_view, 7> names = {"off",  "fatal", "error",  "warn",
                                                       "info", "debug", "verbose"};
    const auto index = static_cast<std::size_t>(level);
    return index < names.size() ? names[index] : "unknown";
}

std::string formatLine(std::chrono::system_clock::time_point time, std::string_view application,
                       std::string_view context, LogLevel level, std::string_view text) {
    const auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(micros / 1'000'000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 16> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%06dZ", static_cast<int>(micros % 1'000'000));

    std::string line;
    line.reserve(length + 16 + application.size() + context.size() + text.size());
    line.append(date.data(), length).append(fraction.data()).append(1, ' ');
    line.append(application)
        .append(1, ' ')
        .append(context)
        .append(1, ' ')
        .append(levelName(level))
        .append(1, ' ');
    return line.append(text).append(1, '\n');
}

}  // namespace ara::log
