#pragma once

#include <string>
#include <string_view>

#include "LoggerState.h"

namespace ara::log {

/// The calls of libdlt. None of them blocks: without a daemon, or when it is slow, records wait in libdlt's
/// own ring buffer (its size is set with DLT_USER_BUFFER_MAX), and libdlt reports how many did not fit.
///
/// Thread safety: one thread at a time. libdlt has a lock of its own, but does not hold it wherever it
/// should.
namespace dlt_output {

/// Told when a level is changed from outside, on libdlt's own thread: the context's id and the level from 0
/// to 6.
using LevelChanged = void (*)(std::string_view dltId, LogLevel level);

/// Starts libdlt, its threads and its exit handler. Once.
void start();

/// Registers the application, under another name if it was registered before.
void registerApplication(const std::string& name, const std::string& description);

/// Registers the context with its present level, and takes over the level that libdlt's environment
/// (DLT_INITIAL_LOG_LEVEL) asks for.
void registerContext(Logger::State& state, LevelChanged levelChanged);

/// Takes the registration back, if there is one.
void unregisterContext(Logger::State& state);

/// Waits until the daemon has answered the registration of every context, for at most a second after the last
/// one; not at all without a daemon. To be called once, while the process ends.
///
/// A daemon that finds the process gone when it answers a registration drops all that it has read behind it:
/// the only words of a process that says why it cannot start, and ends. Other threads may write meanwhile:
/// libdlt holds its lock where it is asked here.
void waitForAnswers() noexcept;

/// Sends one record of one text, which libdlt cuts, and marks as cut, when it is too long.
void write(Logger::State& state, LogLevel level, const std::string& text) noexcept;

}  // namespace dlt_output

}  // namespace ara::log
