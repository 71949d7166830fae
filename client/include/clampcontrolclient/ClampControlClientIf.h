#pragma once

#include <clampcontrolclient/Export.h>

#include <string>

namespace clampcontrolclient {

class ClampControlCallbackIf;

/// The interface of ClampControlClient, whose comments say what each operation promises. Program against it
/// if your tests are to replace the client.
class CLAMPCONTROL_EXPORT ClampControlClientIf {
 public:
    virtual ~ClampControlClientIf() = default;

    virtual void Start() = 0;
    virtual void Stop() = 0;
    virtual void AssignCallback(ClampControlCallbackIf* callback) = 0;
    virtual std::string SubscribeClampControl() = 0;
    virtual void UnsubscribeClampControl(const std::string& uuid) = 0;
};

}  // namespace clampcontrolclient
