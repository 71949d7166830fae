#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ConfigurationManager.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/ElementRegistry.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ITpAccessFactory.h>
#include <zebutil/LoggerFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <chrono>

#include "ProcessLogging.h"
#include "ProcessStatics.h"

namespace kelo_client {

csc_logging::ExitGate processStaticsGate;

namespace {

/// Never destroyed itself, so that a thread that outlives the process's statics finds it empty instead of
/// gone.
std::shared_ptr<ClientServiceBase>& instanceSlot() {
    static auto& slot = *new std::shared_ptr<ClientServiceBase>();
    return slot;
}

/// Statics are destroyed in the reverse order of their construction. Whatever the threads of the base use is
/// constructed here, before the process's hold on the base is: the logging facade, and the names of services
/// and resources that the data objects are made with. So the threads have ended before any of it is
/// destroyed. (The tables of the data objects are older still; the default logger factory is never
/// destroyed.)
void constructWhatTheThreadsUse() {
    csc_logging::processLogging();
    zebobjects_ZEB::ClampcontrolService::getServiceName();
    zebobjects_ZEB::ClampcontrolService::Clamp::getResourceName();
}

/// How long the end of the process waits for threads that use the statics, none of which should take any
/// time.
constexpr std::chrono::seconds kExitLimit{1};

}  // namespace

/// The process's hold on the base, a static: see constructWhatTheThreadsUse() for its place in the order.
class ClientServiceBase::ProcessInstance {
 public:
    ProcessInstance() {
        constructWhatTheThreadsUse();
        std::atomic_store(&instanceSlot(), std::shared_ptr<ClientServiceBase>(new ClientServiceBase()));
    }

    ~ProcessInstance() {
        processStaticsGate.close(kExitLimit);
        const auto base = std::atomic_exchange(&instanceSlot(), std::shared_ptr<ClientServiceBase>());
        if (base.use_count() > 1 && base->initialised_) {
            // A client is alive somewhere that exit does not destroy. Its threads end here none the less.
            // (One that is only being built has given them nothing to do yet.)
            base->stop();
        }
    }

    ProcessInstance(const ProcessInstance&) = delete;
    ProcessInstance& operator=(const ProcessInstance&) = delete;
};

std::shared_ptr<ClientServiceBase> ClientServiceBase::getInstance() {
    static const ProcessInstance instance;
    return std::atomic_load(&instanceSlot());
}

ClientServiceBase::ClientServiceBase() = default;

ClientServiceBase::~ClientServiceBase() {
    stop();
}

void ClientServiceBase::stop() {
    if (elementRegistry_) {
        elementRegistry_->unsubscribeFromAll();
    }
    if (zebExecutor_) {
        zebExecutor_->stop();
    }
    if (httpExecutor_) {
        httpExecutor_->stop();
    }
    if (serviceRegistry_) {
        serviceRegistry_->stop();
    }
    if (websocketManagerFactory_) {
        websocketManagerFactory_->stopAndClearAll();
    }
}

}  // namespace kelo_client
