#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "LoggerState.h"

namespace ara::log {

/// The calls of libdlt. None of them blocks, except waitForAnswers(). Without a daemon, or if the daemon is
/// slow, records wait in libdlt's own ring buffer (its size is set with DLT_USER_BUFFER_MAX). libdlt reports
/// on standard error that records did not fit or were not sent, but only if there has been a daemon.
///
/// Thread safety: one thread at a time. libdlt has its own lock, but does not hold it everywhere it should.
namespace dlt_output {

/// Called on libdlt's own thread when a level is changed from outside, with the context's id and the level, 0
/// to 6.
using LevelChanged = void (*)(std::string_view dltId, LogLevel level);

/// Starts libdlt, its threads and its exit handler. Call it once.
void start();

/// Registers the application. Replaces an earlier registration.
void registerApplication(const std::string& name, const std::string& description);

/// Registers the context with its current level, and adopts the level that libdlt's environment
/// (DLT_INITIAL_LOG_LEVEL) asks for.
void registerContext(Logger::State& state, LevelChanged levelChanged);

/// Withdraws the registration, if there is one.
void unregisterContext(Logger::State& state);

/// Waits until the daemon has answered the registration of every context, for at most one second after the
/// last registration. Does not wait if there is no daemon. Call it once, while the process exits.
///
/// If a daemon finds the process gone when it answers a registration, it drops everything that it has read
/// after that registration. For a process that logs why it cannot start and then ends, those are its only
/// records. Other threads may write meanwhile, because libdlt holds its lock in the calls that are made here.
void waitForAnswers() noexcept;

/// The longest text that a record can carry, in bytes: 1,383, or what DLT_LOG_MSG_BUF_LEN allows. libdlt
/// takes the length of a longer one modulo 65,536 before it looks at it.
std::size_t longestText() noexcept;

/// Sends one record with one text, which is not longer than that.
void write(Logger::State& state, LogLevel level, const std::string& text) noexcept;

}  // namespace dlt_output

}  // namespace ara::log
