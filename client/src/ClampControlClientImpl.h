#pragma once

#include <clampcontrolclient/ClampControlClientIf.h>

#include <atomic>
#include <memory>
#include <string>

#include "SetUp.h"

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
    void make();
    void startAccess();
    std::string subscribe();

    ClampControlCallbackIf* callback_ = nullptr;  ///< for the access object, until it is made
    std::atomic<bool> isStarted_ = false;
    // Do not change any more once set-up has made them.
    std::shared_ptr<kelo_client::ClientServiceBase> clientServiceBase_;
    std::shared_ptr<std::atomic<bool>>
        isTaskWaiting_;  ///< whether the executor has a task to make its thread
    /// Null if the construction failed. Destroyed before the base that it uses.
    std::shared_ptr<ClampControlAccess> access_;
    const std::shared_ptr<SetUp> setUp_;
};

}  // namespace clampcontrolclient
