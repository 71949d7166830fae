#include <dlt/dlt.h>

/// \file
/// Part of every program that is built with the thread sanitizer. Replaces the last step of libdlt when a
/// process ends, after it has sent its remaining messages: it cancels its threads in a way that the sanitizer
/// cannot follow.
/// - A thread that is cancelled at the wrong moment keeps the sanitizer's lock on the list of threads. The
///   process then hangs.
/// - "dlt_segmented" is cancelled while it waits for a condition and never unlocks the mutex that it holds.
///   The condition is then signalled and destroyed without the mutex.
/// Every other build uses libdlt's own function.
extern "C" __attribute__((visibility("default"))) DltReturnValue dlt_free() {
    return DLT_RETURN_OK;
}
