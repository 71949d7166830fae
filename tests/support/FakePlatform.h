#pragma once

#include <zeb/UntypedServiceListener.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebServiceRegistry.h>

#include <functional>
#include <memory>
#include <string>

/// Platform objects that do nothing but say, a line each on standard output, what is done with them. They
/// take the place of the platform's own classes when this is linked into a program. For tests in a process of
/// their own, since what they are to show is how a process sets up its one client-service base and takes it
/// down.
namespace fake_platform {

/// What the service registry was made with.
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

/// Of the last registry. Holds what it names, so take() it.
RegistryArguments takeRegistryArguments();

/// Called when an access factory is made.
void whenAccessFactoryIsMade(std::function<void()> action);

/// A find-first request, to be answered by the test.
struct FindFirst {
    /// Given the JSON text of the element.
    std::function<void(const std::string& json)> success;
    zeb::ZebAccessor::ErrorHandler error;
};

/// Called when an element is looked for, on the thread that does.
void whenFindFirst(std::function<void(const FindFirst&)> action);

/// Called when a registry is made, before anything else; may throw.
void whenRegistryIsMade(std::function<void()> action);

/// Called when an executor is stopped.
void whenExecutorStops(std::function<void()> action);

/// The last listener that was registered; never destroyed.
zeb::UntypedServiceListener& lastListener();

}  // namespace fake_platform
