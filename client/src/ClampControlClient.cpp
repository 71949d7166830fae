#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>

#include <new>
#include <stdexcept>

#include "ClampControlClientImpl.h"

namespace clampcontrolclient {

ClampControlClient::ClampControlClient() {
    // Only the memory for the object itself can be missing.
    try {
        impl_ = std::make_shared<ClampControlClientImpl>();
    } catch (const std::exception&) {
        // There is no memory for a line in the log either.
    }
}

ClampControlClient::~ClampControlClient() = default;

void ClampControlClient::Start() {
    if (impl_) {
        impl_->Start();
    }
}

void ClampControlClient::Stop() {
    if (impl_) {
        impl_->Stop();
    }
}

void ClampControlClient::AssignCallback(ClampControlCallbackIf* callback) {
    if (impl_) {
        impl_->AssignCallback(callback);
    }
}

std::string ClampControlClient::SubscribeClampControl() {
    if (impl_) {
        return impl_->SubscribeClampControl();
    }
    try {
        csc_logging::CSCLogging::LogError("Clamp Control Client: Not ready");
        throw std::runtime_error("ClampControl client not ready");
    } catch (const std::bad_alloc&) {
        return {};  // not even for the text of the exception
    }
}

void ClampControlClient::UnsubscribeClampControl(const std::string& uuid) {
    if (impl_) {
        impl_->UnsubscribeClampControl(uuid);
    }
}

}  // namespace clampcontrolclient
