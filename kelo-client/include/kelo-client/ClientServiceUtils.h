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

/// Creates the objects that a service client needs. Call the functions in the order in which they are
/// declared.
///
/// Thread safety: any thread may call them. Of two threads that want to fill the base, one waits.
class CLAMPCONTROL_EXPORT ClientServiceUtils {
 public:
    ClientServiceUtils() = delete;

    /// Returns the base of the process. The first call reads the configuration, builds the platform objects
    /// and starts the executors. Later calls change nothing, whatever path they are given.
    ///
    /// A client or a follower calls this itself when it is constructed, with the path of the vehicle's
    /// configuration. To use another file, call this before the first of them is constructed:
    ///
    ///     kelo_client::ClientServiceUtils::CreateClientServiceBase("my.json");
    ///     clampcontrolclient::ClampControlClient client;
    ///
    /// @param configFile path of the client configuration; if it cannot be used, the defaults apply and the
    ///        log says so
    /// @throws std::system_error if the configuration cannot be read for want of descriptors or memory, and
    ///         std::exception if a platform object cannot be built or the process is exiting. The next call
    ///         tries again.
    static std::shared_ptr<ClientServiceBase> CreateClientServiceBase(const std::string& configFile);

    /// Returns the platform's services for one client.
    /// @param base        must have been filled by CreateClientServiceBase
    /// @param serviceName the service that the client is for; not used at present
    /// @param clientName  the client's description, for the platform
    static std::shared_ptr<zeb::ZebClientServices> CreateClientServices(const ClientServiceBase& base,
                                                                        const std::string& serviceName,
                                                                        const std::string& clientName);

    /// Creates the client's object of type `T`, which must be derived from zeb::ZebClient. Does not start it.
    template <typename T>
    static std::shared_ptr<T> CreateClient(std::shared_ptr<zeb::ZebClientServices> services) {
        return std::make_shared<T>(std::move(services));
    }

 private:
    static void fill(ClientServiceBase& base, const std::string& configFile);
};

}  // namespace kelo_client
