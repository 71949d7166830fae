#pragma once

/// Exports a declaration from libZebAccess.so; everything else in the library is hidden.
#define ZEB_EXPORT __attribute__((visibility("default")))
