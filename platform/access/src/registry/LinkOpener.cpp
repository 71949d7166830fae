#include "LinkOpener.h"

#include <zeb/ITpAccess.h>
#include <zeb/ITpAccessFactory.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ILogger.h>
#include <zebutil/LoggerFactory.h>

#include <utility>

namespace zeb {

LinkOpener::LinkOpener(std::shared_ptr<ITpAccessFactory> tpAccessFactory,
                       std::shared_ptr<zebutil::ITaskExecutor> zebExecutor,
                       std::shared_ptr<zebutil::ITaskExecutor> httpExecutor,
                       std::shared_ptr<IWebsocketManagerFactory> websocketManagerFactory,
                       std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
                       std::shared_ptr<zebutil::ILogger> logger)
    : tpAccessFactory_(std::move(tpAccessFactory)),
      zebExecutor_(std::move(zebExecutor)),
      httpExecutor_(std::move(httpExecutor)),
      websocketManagerFactory_(std::move(websocketManagerFactory)),
      loggerFactory_(std::move(loggerFactory)),
      logger_(std::move(logger)) {}

void LinkOpener::open(ServiceLink& link, std::chrono::milliseconds delay) const {
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
    settings.counters = link.counters;

    // The observer needs the manager that it belongs to, which does not exist yet.
    const auto itself = std::make_shared<LinkEvents::Manager>();
    WebsocketObserver observer;
    observer.opened = [opened = link.events.opened, itself] { opened(*itself); };
    observer.closed = [closed = link.events.closed, itself](const WebsocketEnd& end) {
        closed(*itself, end);
    };
    link.websocketManager = websocketManagerFactory_->createWebsocketManager(
        link.name, settings, zebExecutor_, loggerFactory_->createLogger(facility), std::move(observer));
    *itself = link.websocketManager;
}

void LinkOpener::openRequests(ServiceLink& link) const {
    // Requests go to the peer that the WebSocket has reached: a name may lead to several.
    link.access =
        tpAccessFactory_->createAccess({link.name, link.endpoint.serverBaseUri, link.endpoint.basePath,
                                        link.endpoint.separator, link.websocketManager->peerAddress()});
    if (!link.faultsOfRequests) {
        link.faultsOfRequests = std::make_shared<FaultLog>(logger_);
    }
    link.accessor = std::make_shared<ZebAccessor>(link.access, httpExecutor_, zebExecutor_, logger_,
                                                  link.faultsOfRequests);
}

}  // namespace zeb
