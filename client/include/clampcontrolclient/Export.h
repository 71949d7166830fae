#pragma once

/// Marks what applications may use of the client library; everything else stays hidden in it. All parts of
/// the library share this macro: it stands with the topmost, whose name the library bears, and the lower ones
/// take nothing else from there.
#define CLAMPCONTROL_EXPORT __attribute__((visibility("default")))
