#pragma once

/// Marks what users of the service-access library may link against; everything else stays hidden in it.
#define ZEB_EXPORT __attribute__((visibility("default")))
