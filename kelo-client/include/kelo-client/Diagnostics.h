#pragma once

#include <clampcontrolclient/Export.h>
#include <zeb/ServiceStatus.h>

#include <string>
#include <vector>

namespace kelo_client {

/// What the library knows of itself at one moment, for people who look for a fault. A plain value. Its texts
/// may change.
struct Diagnostics {
    /// The configuration file that the first client of the process was made with, or could not be made with;
    /// empty before that.
    std::string configurationFile;
    /// Why that file is not used, so that the defaults apply; empty if it is used.
    std::string configurationFailure;
    /// Why a client or a follower could not be made; empty if the last one could.
    std::string constructionFailure;
    /// Whether the clients of the process were stopped. None works after that.
    bool isStopped = false;
    /// Each service that was followed, by its name. Empty if the platform cannot tell.
    std::vector<zeb::ServiceStatus> services;
};

/// Takes a snapshot. Any thread may call it at any time. Costs some microseconds; that it can be taken costs
/// the notifications nothing but plain counters.
CLAMPCONTROL_EXPORT Diagnostics takeDiagnostics();

/// The snapshot in lines for people.
CLAMPCONTROL_EXPORT std::string to_string(const Diagnostics& diagnostics);

}  // namespace kelo_client
