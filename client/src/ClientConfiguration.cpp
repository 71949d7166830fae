#include "ClientConfiguration.h"

#include <csc_logging/CSCLogging.h>
#include <kelo-client/ClientServiceBase.h>

namespace clampcontrolclient {

void complainIfStopped(const kelo_client::ClientServiceBase& base) {
    if (base.isStopped()) {
        csc_logging::CSCLogging::LogError(
            "Clamp Control Client: this process has stopped its clients, so a new one does nothing; "
            "start the process again");
    }
}

}  // namespace clampcontrolclient
