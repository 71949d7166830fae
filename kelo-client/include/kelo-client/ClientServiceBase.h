#pragma once

#include <clampcontrolclient/Export.h>
#include <sys/types.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace zeb {
class DefaultWebsocketManagerFactory;
class ElementRegistry;
class IServiceRegistry;
class ITpAccessFactory;
}  // namespace zeb

namespace zebutil {
class LoggerFactory;
class SingleThreadAsyncTaskExecutor;
}  // namespace zebutil

namespace kelo_client {

class ConfigurationManager;
class StopObserver;
class StopObservers;

/// The platform objects that all service clients of a process share. Empty until
/// ClientServiceUtils::CreateClientServiceBase has filled it. When that has failed, some getters return
/// objects; of these, only getZebExecutor() may be used, to try again later.
///
/// Owner: the process together with all clients; see getInstance().
///
/// Thread safety: getInstance() may be called from any thread, and so may every other function once the base
/// is filled.
///
/// Does not call client code itself. Its executors call the handlers of the clients.
class CLAMPCONTROL_EXPORT ClientServiceBase {
 public:
    /// Returns the one base of the process, which the first call creates. At process exit the process
    /// releases its reference. That destroys the base unless a client still holds it; in that case its
    /// executors, its registry and its connections are stopped anyway, as the destructor would do. After
    /// that, this function returns null.
    static std::shared_ptr<ClientServiceBase> getInstance();

    /// Does what stop() does, then releases everything.
    ~ClientServiceBase();
    ClientServiceBase(const ClientServiceBase&) = delete;
    ClientServiceBase& operator=(const ClientServiceBase&) = delete;

    /// Ends the calls that wait and all subscriptions, then stops "zebExecutor", "httpExecutor", the service
    /// registry and the WebSockets, in this order, for all clients of the process; there is no restart. May
    /// be called more than once, and on an executor's thread. Without memory, it does what needs none, which
    /// is everything but the log lines and the farewells to the server.
    void stop() noexcept;

    /// Registers a part of a client, held weakly, that stop() tells first: a call that waits would wait in
    /// vain from then on. If the base has been stopped, that happens at once.
    void tellWhenStopped(const std::shared_ptr<StopObserver>& observer);

    /// Whether stop() was called.
    bool isStopped() const;

    /// Why the last client that was to be made could not be; empty if it could.
    std::string getConstructionFailure() const;
    void noteConstructionFailure(const std::string& why);

    /// The configuration file that was read, or tried last; empty before that.
    std::string getConfigurationFile() const;

    const std::shared_ptr<zeb::DefaultWebsocketManagerFactory>& getWebsocketManagerFactory() const {
        return websocketManagerFactory_;
    }
    const std::shared_ptr<zebutil::LoggerFactory>& getLoggerFactory() const { return loggerFactory_; }
    const std::shared_ptr<zeb::ITpAccessFactory>& getTpAccessFactory() const { return tpAccessFactory_; }
    const std::shared_ptr<ConfigurationManager>& getConfigurationManager() const {
        return configurationManager_;
    }
    /// Runs the service and registry work and every handler.
    const std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor>& getZebExecutor() const {
        return zebExecutor_;
    }
    /// Runs the HTTP requests.
    const std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor>& getHttpExecutor() const {
        return httpExecutor_;
    }
    const std::shared_ptr<zeb::IServiceRegistry>& getServiceRegistry() const { return serviceRegistry_; }
    const std::shared_ptr<zeb::ElementRegistry>& getElementRegistry() const { return elementRegistry_; }
    /// 0: static only, 1: dynamic only, 2: static before dynamic.
    int getRegistryMode() const { return registryMode_; }
    bool isInitialised() const { return initialised_; }

    /// Whether the process was forked since the base was filled. The child has none of the threads, so there
    /// the base cannot be used, stop() does nothing, and nothing is released.
    bool isOfParentProcess() const;

 private:
    friend class ClientServiceUtils;
    friend class ProcessBaseObject;

    ClientServiceBase();

    void noteConfigurationFile(const std::string& file);

    // Destroyed in reverse order, because each may use those above it.
    std::shared_ptr<zeb::DefaultWebsocketManagerFactory> websocketManagerFactory_;
    std::shared_ptr<zebutil::LoggerFactory> loggerFactory_;
    std::shared_ptr<zeb::ITpAccessFactory> tpAccessFactory_;
    std::shared_ptr<ConfigurationManager> configurationManager_;
    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> zebExecutor_;
    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> httpExecutor_;
    std::shared_ptr<zeb::IServiceRegistry> serviceRegistry_;
    std::shared_ptr<zeb::ElementRegistry> elementRegistry_;
    int registryMode_ = 1;
    /// Atomic because the process may exit while another thread is still filling the base.
    std::atomic<bool> initialised_ = false;

    std::atomic<pid_t> process_ = 0;  ///< that has filled the base; 0: none

    const std::shared_ptr<StopObservers> stopObservers_;

    mutable std::mutex diagnosticsMutex_;
    std::string configurationFile_;
    std::string constructionFailure_;
};

}  // namespace kelo_client
