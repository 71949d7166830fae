#include <dlt/dlt.h>

/// \file
/// Part of every program that is built with the thread sanitizer. Takes the place of the last thing that
/// libdlt does when a process ends, after it has sent what it still had: it cancels its threads, in a way
/// that the sanitizer cannot follow.
/// - Cancelled in the wrong moment, a thread leaves the sanitizer's own lock of its threads locked, and the
///   process hangs.
/// - "dlt_segmented" is cancelled while it waits for a condition, and never unlocks the mutex that it has
///   taken; the condition is then signalled and destroyed without the mutex.
/// Every other build has libdlt's own.
extern "C" __attribute__((visibility("default"))) DltReturnValue dlt_free() {
    return DLT_RETURN_OK;
}
