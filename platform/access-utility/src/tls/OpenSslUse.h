#pragma once

#include <mutex>
#include <shared_mutex>

namespace zebutil {

/// A use of OpenSSL on a thread that nobody waits for. The application's exit handlers may take OpenSSL down,
/// so the end of the process waits for the uses under way, and blocks later ones for good. So nothing that
/// may hang belongs into a use.
class OpenSslUse {
 public:
    OpenSslUse();

 private:
    const std::shared_lock<std::shared_mutex> lock_;
};

}  // namespace zebutil
