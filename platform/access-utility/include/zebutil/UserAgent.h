#pragma once

#include <zebutil/Export.h>

#include <string>

namespace zebutil {

/// How this process names itself to servers, in requests and WebSocket handshakes: "<program>/<process id>".
/// A server can tell in its log which of several clients does what. Characters that a product name cannot
/// have become "_".
///
/// Thread safety: any thread.
ZEBUTIL_EXPORT std::string userAgent();

}  // namespace zebutil
