#include "LinkOpener.h"

#include <zebutil/ILogger.h>
#include <zebutil/LoggerFactory.h>

#include <utility>

namespace zeb {

LinkOpener::LinkOpener(std::shared_ptr<IWebsocketManagerFactory> factory,
                       std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
                       std::shared_ptr<zebutil::ITaskExecutor> executor)
    : factory_(std::move(factory)),
      loggerFactory_(std::move(loggerFactory)),
      executor_(std::move(executor)) {}

void LinkOpener::open(ServiceLink& link, std::chrono::milliseconds delay, Events events) const {
    const std::string facility = "Websocket " + link.name;
    if (!link.faultsOfWebsockets) {
        link.faultsOfWebsockets = std::make_shared<FaultLog>(loggerFactory_->createLogger(facility));
    }
    WebsocketSettings settings;
    settings.uri = link.endpoint.websocketUri(link.name);
    settings.connectDelay = delay;
    settings.watchdogPingInterval = link.endpoint.watchdogPingInterval;
    settings.watchdogPongTimeout = link.endpoint.watchdogPongTimeout;
    settings.predecessors = link.predecessors;
    settings.faults = link.faultsOfWebsockets;

    // The observer needs the manager that it belongs to, which does not exist yet.
    const auto itself = std::make_shared<Manager>();
    WebsocketObserver observer;
    observer.opened = [opened = std::move(events.opened), itself] { opened(*itself); };
    observer.closed = [closed = std::move(events.closed), itself](const WebsocketEnd& end) {
        closed(*itself, end);
    };
    link.websocketManager = factory_->createWebsocketManager(
        link.name, settings, executor_, loggerFactory_->createLogger(facility), std::move(observer));
    *itself = link.websocketManager;
}

}  // namespace zeb
