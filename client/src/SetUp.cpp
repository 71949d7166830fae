#include "SetUp.h"

#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/ClientServiceBase.h>
#include <unistd.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <algorithm>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "ProcessBase.h"

namespace clampcontrolclient {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using kelo_client::ClientServiceBase;

namespace {

/// Without the memory for an error line, there is no way left to report anything.
void logError(const char* text, const char* detail = "") noexcept {
    try {
        CSCLogging::LogError(CSCLogEntry(text) << internal::escapedText(detail));
    } catch (...) {
    }
}

}  // namespace

pid_t SetUp::currentProcess() {
    return ::getpid();
}

bool SetUp::isOfParentProcess() const {
    return process_ != currentProcess();
}

bool SetUp::mayPass(const std::exception& failure) {
    return dynamic_cast<const std::system_error*>(&failure) != nullptr ||
           dynamic_cast<const std::bad_alloc*>(&failure) != nullptr;
}

void SetUp::make() {
    const std::lock_guard lock(mutex_);
    attempt();
}

void SetUp::attempt() {
    try {
        steps_.make();
        note("");
        isMade_ = true;
    } catch (const std::system_error& error) {
        // Each attempt says what the system lacks; this says it once.
        note(error.what());
        if (!mayBeMadeLater_.exchange(true)) {
            logError(" Exception: ", error.what());
        }
    } catch (const std::bad_alloc& exception) {
        note(exception.what());
        mayBeMadeLater_ = true;
        logError(" Exception: ", exception.what());
    } catch (const std::exception& exception) {
        note(exception.what());
        logError(" Exception: ", exception.what());
    } catch (...) {
        note("unknown exception");
        logError("Unknown exception ");
    }
}

void SetUp::note(const char* failure) {
    try {
        const auto base = ClientServiceBase::getInstance();
        if (base && !base->isOfParentProcess()) {
            base->noteConstructionFailure(failure);
        }
    } catch (const std::bad_alloc&) {
        return;  // There is no memory to keep it.
    }
}

void SetUp::makeAgain() {
    if (isMade_ || !mayBeMadeLater_ || isOfParentProcess()) {
        return;
    }
    const std::lock_guard lock(mutex_);
    // end() may have come first.
    if (!isMade_ && mayBeMadeLater_) {
        attempt();
        attemptLater();
    }
}

void SetUp::attemptLater() {
    if (isMade_ || !mayBeMadeLater_) {
        return;
    }
    try {
        const auto base = ClientServiceBase::getInstance();
        if (!base || !base->getZebExecutor()) {
            return;
        }
        if (isTaskPending_) {
            base->getZebExecutor()->start();  // in case it still has no thread
            return;
        }
        base->getZebExecutor()->addAt(
            std::chrono::steady_clock::now() + pause_,
            [self = shared_from_this()] { self->attemptOnExecutor(); }, "set-up of the client");
        isTaskPending_ = true;
        pause_ = std::min(2 * pause_, kLongestPause);
    } catch (const std::bad_alloc&) {
        logError("Clamp Control Client: Start failed: ", "no memory");
    }
}

void SetUp::attemptOnExecutor() {
    // The end of the process waits for this, and afterwards what it needs does not exist any more.
    const kelo_client::ProcessBase::Visit visit;
    if (!visit.admitted()) {
        return;
    }
    const std::lock_guard lock(mutex_);
    isTaskPending_ = false;
    if (isMade_ || !mayBeMadeLater_) {
        return;
    }
    attempt();
    attemptLater();
    if (isMade_) {
        steps_.madeLater();
    }
}

void SetUp::askForThread() {
    if (isMade_ || !mayBeMadeLater_ || isOfParentProcess()) {
        return;
    }
    const std::lock_guard lock(mutex_);
    if (isTaskPending_) {
        attemptLater();
    }
}

void SetUp::keepTrying() {
    if (isMade_ || !mayBeMadeLater_ || isOfParentProcess()) {
        return;
    }
    if (const std::unique_lock lock(mutex_, std::try_to_lock); lock.owns_lock()) {
        attemptLater();
    }
}

void SetUp::end() {
    if (isMade_ || isOfParentProcess()) {
        return;
    }
    const std::lock_guard lock(mutex_);
    mayBeMadeLater_ = false;
}

void SetUp::forget() {
    if (isOfParentProcess()) {
        return;
    }
    const std::lock_guard lock(mutex_);
    mayBeMadeLater_ = false;
    steps_ = {};
}

}  // namespace clampcontrolclient
