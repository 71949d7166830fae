#include <clampcontrolclient/ClampControlClient.h>

#include "ClampControlClientImpl.h"

namespace clampcontrolclient {

ClampControlClient::ClampControlClient() : impl_(std::make_shared<ClampControlClientImpl>()) {}

ClampControlClient::~ClampControlClient() = default;

void ClampControlClient::Start() {
    impl_->Start();
}

void ClampControlClient::Stop() {
    impl_->Stop();
}

void ClampControlClient::AssignCallback(ClampControlCallbackIf* callback) {
    impl_->AssignCallback(callback);
}

std::string ClampControlClient::SubscribeClampControl() {
    return impl_->SubscribeClampControl();
}

void ClampControlClient::UnsubscribeClampControl(const std::string& uuid) {
    impl_->UnsubscribeClampControl(uuid);
}

}  // namespace clampcontrolclient
