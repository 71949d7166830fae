#pragma once

/// Exports a declaration from libZebAccessUtility.so; everything else in the library is hidden.
#define ZEBUTIL_EXPORT __attribute__((visibility("default")))
