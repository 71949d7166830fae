#pragma once

#include <clampcontrolclient/Export.h>

#include <string>

namespace clampcontrolclient {

class ClampControlCallbackIf;

/// A client of the clamp-control service, as an interface: program against it where a test is to put
/// something else in the place of ClampControlClient, whose comment says what each operation promises.
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
