#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>

#include <new>
#include <stdexcept>

#include "ClampControlClientImpl.h"

namespace clampcontrolclient {

namespace {

/// Without the memory for the line, there is no way left to report anything.
void logNotReady() noexcept {
    try {
        csc_logging::CSCLogging::LogError("Clamp Control Client: Not ready");
    } catch (...) {
    }
}

}  // namespace

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
    } else {
        logNotReady();
    }
}

std::string ClampControlClient::SubscribeClampControl() {
    if (impl_) {
        return impl_->SubscribeClampControl();
    }
    logNotReady();
    try {
        throw std::runtime_error("ClampControl client not ready");
    } catch (const std::bad_alloc&) {
        return {};  // not even for the text of the exception
    }
}

void ClampControlClient::UnsubscribeClampControl(const std::string& uuid) {
    if (impl_) {
        impl_->UnsubscribeClampControl(uuid);
    } else {
        logNotReady();
    }
}

}  // namespace clampcontrolclient
