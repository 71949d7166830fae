#pragma once

#include <clampcontrolclient/ClampControlClientIf.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
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
    /// What the constructor could not do because the system lacked something, Start() tries again, and then a
    /// task of the executor after growing pauses, until Stop() or the destructor. The task holds this,
    /// because it may outlive the client.
    struct SetUp {
        std::mutex mutex;  ///< of what follows, and of the members below as long as isMade_ is false
        ClampControlClientImpl* client = nullptr;  ///< null once it is destroyed
        bool isPending = false;                    ///< whether the task waits
        std::chrono::milliseconds pause{0};
    };

    /// Whether the construction succeeded, and the process was not forked since then.
    bool isUsable() const;
    bool isOfParentProcess() const;
    // These two need the mutex, and the third takes it.
    void make();
    void makeLater();
    static void makeOnExecutor(SetUp& setUp);
    void startAccess();
    std::string subscribe();
    void makeExecutorThread();
    void makeSetUpThread();

    const pid_t process_;
    const std::shared_ptr<SetUp> setUp_;
    std::atomic<bool> mayBeMadeLater_ = false;
    ClampControlCallbackIf* callback_ = nullptr;
    std::atomic<bool> isStarted_ = false;
    std::atomic<bool> isMade_ = false;  ///< what follows does not change any more
    std::shared_ptr<kelo_client::ClientServiceBase> clientServiceBase_;
    std::shared_ptr<std::atomic<bool>> isTaskWaiting_;  ///< of makeExecutorThread()
    /// Null if the construction failed. Destroyed before the base that it uses.
    std::shared_ptr<ClampControlAccess> access_;
};

}  // namespace clampcontrolclient
