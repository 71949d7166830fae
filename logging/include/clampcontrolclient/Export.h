#pragma once

/// Exports a declaration from the client library; everything else in the library is hidden. Kept in the
/// lowest part of the library, because every part uses it.
#define CLAMPCONTROL_EXPORT __attribute__((visibility("default")))
