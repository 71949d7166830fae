#pragma once

#include <zeb/UntypedServiceListener.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebServiceRegistry.h>

#include <functional>
#include <memory>
#include <string>

/// Platform objects that only print what is done with them, one line per event, on standard output. Linked
/// into a program, they replace the platform's own classes. For tests that run in a child process, since they
/// show how a process sets up its one client-service base and tears it down.
namespace fake_platform {

/// The arguments that the service registry was created with.
struct RegistryArguments {
    std::shared_ptr<zeb::IWebsocketManagerFactory> websocketManagerFactory;
    std::shared_ptr<zeb::IConfigManager> configManager;
    std::shared_ptr<zebutil::LoggerFactory> loggerFactory;
    std::shared_ptr<zeb::ITpAccessFactory> tpAccessFactory;
    std::shared_ptr<zebutil::ITaskExecutor> zebExecutor;
    std::shared_ptr<zebutil::ITaskExecutor> httpExecutor;
    zeb::ZebServiceRegistry::Settings settings;
    std::shared_ptr<zeb::ZebServiceConfigurations::ServiceSettings> serviceSettings;
};

/// The arguments of the last registry. They keep the named objects alive, so this moves them out.
RegistryArguments takeRegistryArguments();

/// Called when an access factory is created.
void whenAccessFactoryIsMade(std::function<void()> action);

/// A find-first request, to be answered by the test.
struct FindFirst {
    /// Takes the JSON text of the element.
    std::function<void(const std::string& json)> success;
    zeb::ZebAccessor::ErrorHandler error;
};

/// Called for each find-first request, on the requesting thread.
void whenFindFirst(std::function<void(const FindFirst&)> action);

/// Called first when a registry is created; may throw.
void whenRegistryIsMade(std::function<void()> action);

/// Called when an executor is stopped.
void whenExecutorStops(std::function<void()> action);

/// The last listener that was registered; never destroyed.
zeb::UntypedServiceListener& lastListener();

}  // namespace fake_platform
