#pragma once

/// Marks what users of libZebAccessUtility.so may use; everything else stays hidden in it.
#define ZEBUTIL_EXPORT __attribute__((visibility("default")))
