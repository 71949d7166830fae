#pragma once

#include <clampcontrolclient/Export.h>

#include <memory>
#include <string>
#include <utility>

namespace zeb {
class ZebClientServices;
}

namespace kelo_client {

class ClientServiceBase;

/// Makes what a service client stands on, in the order in which the functions stand here.
///
/// Thread safety: call them from one thread at a time, at start-up. They take no lock: two threads that fill
/// a fresh base at once may both build it.
class CLAMPCONTROL_EXPORT ClientServiceUtils {
 public:
    ClientServiceUtils() = delete;

    /// The base of the process. The first call reads the configuration, builds the platform objects and
    /// starts the executors; a later one, with whatever path, changes nothing.
    /// @param configFile path of the client configuration; when it cannot be used the defaults hold, and the
    ///        log says so
    /// @throws std::exception when a platform object cannot be built, or when the process is already exiting;
    ///         the next call then tries again
    static std::shared_ptr<ClientServiceBase> CreateClientServiceBase(const std::string& configFile);

    /// The platform's services for one client.
    /// @param base        filled by CreateClientServiceBase
    /// @param serviceName which service the client is for; not used at present
    /// @param clientName  the client's description, for the platform
    static std::shared_ptr<zeb::ZebClientServices> CreateClientServices(const ClientServiceBase& base,
                                                                        const std::string& serviceName,
                                                                        const std::string& clientName);

    /// The client's object of type `T`, derived from zeb::ZebClient. Does not start it.
    template <typename T>
    static std::shared_ptr<T> CreateClient(std::shared_ptr<zeb::ZebClientServices> services) {
        return std::make_shared<T>(std::move(services));
    }

 private:
    static void fill(ClientServiceBase& base, const std::string& configFile);
};

}  // namespace kelo_client
