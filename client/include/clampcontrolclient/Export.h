#pragma once

/// Marks what applications may use of the client library; everything else stays hidden in it.
#define CLAMPCONTROL_EXPORT __attribute__((visibility("default")))
