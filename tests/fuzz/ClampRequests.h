#pragma once

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <zeb/ITpAccess.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/JsonObject.h>

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Require.h"
#include "SilentLog.h"

namespace fuzz {

using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;
using Response = std::shared_ptr<const zeb::ZebResponse>;
using Clamps = std::vector<std::shared_ptr<const Clamp>>;

/// Runs each task at once.
class ImmediateExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char*) override { function(); }
};

/// The outcome of one request.
class Outcome {
 public:
    void succeed(Clamps clamps, const Response& response) {
        require(response && response->getStatusCode() == 200, "an element comes with status 200 only");
        require(!response->getHttpException(), "a success has no exception");
        for (const auto& clamp : clamps) {
            if (clamp) {
                static_cast<void>(clamp->getDescriptor().getAsJson());
            }
        }
        clamps_ = std::move(clamps);
        ++answers_;
    }

    void fail(const Response& response) {
        require(response->getStatusCode() != 200 || response->getHttpException(),
                "a failure has a status or an exception that says so");
        ++answers_;
    }

    /// The elements; none if the request has failed.
    const std::optional<Clamps>& clamps() const {
        require(answers_ == 1, "a request is answered exactly once");
        return clamps_;
    }

 private:
    int answers_ = 0;
    std::optional<Clamps> clamps_;
};

/// Looks for clamp 15 through `access`, as the client does, and for all clamps, and checks the outcomes.
inline void findClamps(const std::shared_ptr<zeb::ITpAccess>& access) {
    silenceDefaultLoggers();
    static const auto executor = std::make_shared<ImmediateExecutor>();
    zeb::ZebAccessor accessor(access, executor, executor, silentLogger());
    Clamp::Desctype descriptor;
    descriptor.setType(zebobjects_ZEB::ClampcontrolService::CLAMP_TYPE::Clamp15);
    Outcome first;
    accessor.findFirst<Clamp>(
        descriptor,
        [&](std::shared_ptr<const Clamp> clamp, const Response& response) {
            first.succeed({std::move(clamp)}, response);
        },
        [&](const Response& response) { first.fail(response); });
    Outcome all;
    accessor.findAll<Clamp>(
        descriptor,
        [&](Clamps clamps, const Response& response) { all.succeed(std::move(clamps), response); },
        [&](const Response& response) { all.fail(response); });
    const auto firstClamps = first.clamps();
    if (const auto allClamps = all.clamps()) {
        require(firstClamps.has_value(), "what can be read as a whole has a first element, or none");
        const auto& clamp = firstClamps->front();
        require(allClamps->empty() == !clamp, "there is a first element if there is any");
        require(!clamp || clamp->getDescriptor().getAsJson()->toString() ==
                              allClamps->front()->getDescriptor().getAsJson()->toString(),
                "the first element is the first of all");
    }
}

}  // namespace fuzz
