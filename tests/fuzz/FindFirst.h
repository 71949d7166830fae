#pragma once

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <zeb/ITpAccess.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ITaskExecutor.h>

#include <functional>
#include <memory>
#include <utility>

#include "Require.h"
#include "SilentLog.h"

namespace fuzz {

/// Runs each task at once.
class ImmediateExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char*) override { function(); }
};

/// Looks for clamp 15 through `access`, as the client does, and checks the outcome.
inline void findFirstClamp(std::shared_ptr<zeb::ITpAccess> access) {
    using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;
    silenceDefaultLoggers();
    static const auto executor = std::make_shared<ImmediateExecutor>();
    zeb::ZebAccessor accessor(std::move(access), executor, executor, silentLogger());
    int answers = 0;
    Clamp::Desctype descriptor;
    descriptor.setType(zebobjects_ZEB::ClampcontrolService::CLAMP_TYPE::Clamp15);
    accessor.findFirst<Clamp>(
        descriptor,
        [&](const std::shared_ptr<const Clamp>& clamp,
            const std::shared_ptr<const zeb::ZebResponse>& response) {
            ++answers;
            require(response && response->getStatusCode() == 200, "an element comes with status 200 only");
            require(!response->getHttpException(), "a success has no exception");
            if (clamp) {
                static_cast<void>(clamp->getDescriptor().getAsJson());
            }
        },
        [&](const std::shared_ptr<const zeb::ZebResponse>& response) {
            ++answers;
            require(response->getStatusCode() != 200 || response->getHttpException(),
                    "a failure has a status or an exception that says so");
        });
    require(answers == 1, "a request is answered exactly once");
}

}  // namespace fuzz
