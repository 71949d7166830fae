#pragma once

#include <clampcontrolclient/ClampControlClientIf.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace kelo_client {
class ClientServiceBase;
}

namespace clampcontrolclient {

class ClampControlAccess;

/// Sets up the framework for one clamp-control client and tears it down again. Owned by its
/// ClampControlClient, whose comment describes the operations.
class ClampControlClientImpl : public ClampControlClientIf {
 public:
    ClampControlClientImpl();
    ~ClampControlClientImpl() override;
    ClampControlClientImpl(const ClampControlClientImpl&) = delete;
    ClampControlClientImpl& operator=(const ClampControlClientImpl&) = delete;

    void Start() override;
    void Stop() override;
    void AssignCallback(ClampControlCallbackIf* callback) override;
    std::string SubscribeClampControl() override;
    void UnsubscribeClampControl(const std::string& uuid) override;

 private:
    /// Whether the construction succeeded, and the process was not forked since then.
    bool isUsable() const;
    /// Sets the client up. What the constructor could not do because the system lacked something, Start()
    /// tries again.
    void make();
    std::string subscribe();
    void makeExecutorThread();

    std::mutex makeMutex_;
    std::atomic<bool> mayBeMadeLater_ = false;
    std::atomic<bool> isMade_ = false;            ///< what follows does not change any more
    ClampControlCallbackIf* callback_ = nullptr;  ///< guarded by makeMutex_
    std::shared_ptr<kelo_client::ClientServiceBase> clientServiceBase_;
    std::shared_ptr<std::atomic<bool>> isTaskWaiting_;  ///< of makeExecutorThread()
    /// Null if the construction failed. Destroyed before the base that it uses.
    std::shared_ptr<ClampControlAccess> access_;
};

}  // namespace clampcontrolclient
